#include "shell/dashboard/DemoLoopPlayer.h"

#include "platform/core/ConsoleLine.h"

#include <QCoreApplication>
#include <cmath>

namespace vantrel {

DemoLoopPlayer::DemoLoopPlayer(QString fileName, std::unique_ptr<VideoLoop> loop, QObject* parent)
    : QObject(parent), fileName_(std::move(fileName)), loop_(std::move(loop)) {
    const double rate = loop_->frameRate() > 0 ? loop_->frameRate() : 30.0;
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setInterval(static_cast<int>(std::lround(1000.0 / rate)));
    connect(&timer_, &QTimer::timeout, this, &DemoLoopPlayer::advance);
}

void DemoLoopPlayer::play() {
    if (!picture_) advance(); // the first picture at once, not one interval later
    timer_.start();
}

void DemoLoopPlayer::pause() {
    timer_.stop();
}

void DemoLoopPlayer::advance() {
    double seconds = 0;
    CVPixelBufferRef next = loop_->nextFrame(seconds);
    if (!next) {
        // A damaged file: the last picture stays, and the decoder is not asked again.
        timer_.stop();
        return;
    }
    picture_ = std::move(next);
    emit pictureChanged();
}

DemoLoopPlayerFactory::DemoLoopPlayerFactory(std::filesystem::path folder) : folder_(std::move(folder)) {}

std::filesystem::path DemoLoopPlayerFactory::installedDemoFolder() {
    const std::filesystem::path bin = QCoreApplication::applicationDirPath().toStdString();
    return bin.parent_path() / "share" / "vantrel" / "demos";
}

std::unique_ptr<DemoPlayer> DemoLoopPlayerFactory::make(const QString& video) {
    const QString fileName = video + QStringLiteral(".mp4");
    const std::filesystem::path path = folder_ / fileName.toStdString();
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) return nullptr;
    std::string error;
    auto loop = openVideoLoopFFmpeg(path, error);
    if (!loop) {
        printLine("⚠️ Demo video not played: " + error);
        return nullptr;
    }
    return std::make_unique<DemoLoopPlayer>(fileName, std::move(loop));
}

} // namespace vantrel
