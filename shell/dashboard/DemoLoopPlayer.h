#pragma once
// The demo player the dashboard's model holds: one looping, muted video,
// decoded a picture at a time on the main thread at the file's own rate
// (the demos are small: a picture costs well under a millisecond), shown by
// DemoVideoItem. Main thread only.

#include "platform/playback/VideoLoop.h"
#include "shell/dashboard/DashboardServices.h"

#include <QObject>
#include <QTimer>
#include <filesystem>
#include <memory>

namespace vantrel {

class DemoLoopPlayer final : public QObject, public DemoPlayer {
    Q_OBJECT

public:
    DemoLoopPlayer(QString fileName, std::unique_ptr<VideoLoop> loop, QObject* parent = nullptr);

    QString currentFileName() const override { return fileName_; }
    void play() override;
    void pause() override;
    bool isPlaying() const { return timer_.isActive(); }

    /// The picture to show now; null before the first.
    CVPixelBufferRef currentPicture() const { return picture_; }
    /// Shows the next picture (the timer's step).
    void advance();

signals:
    void pictureChanged();

private:
    QString fileName_;
    std::unique_ptr<VideoLoop> loop_;
    QTimer timer_;
    CVPixelBufferRef picture_;
};

/// Players for the demos in one folder, "<video>.mp4" each.
class DemoLoopPlayerFactory final : public DemoPlayerFactory {
public:
    explicit DemoLoopPlayerFactory(std::filesystem::path folder = installedDemoFolder());
    std::unique_ptr<DemoPlayer> make(const QString& video) override;

    /// share/vantrel/demos beside the program's bin folder, in the build tree as when installed.
    static std::filesystem::path installedDemoFolder();

private:
    std::filesystem::path folder_;
};

} // namespace vantrel
