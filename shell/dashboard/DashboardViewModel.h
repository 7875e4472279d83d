#pragma once
// The dashboard's logic: six feature switches and the webcam card, of which
// the ones that need a privilege ask for it before switching on (off is
// always plain); the device menus; the demo panel that follows the pointer
// over the tiles; the preview camera that follows the webcam settings; and
// the start button. Settings are read and written in AppSettings, so the
// view binds to it for values and calls here to change them. Main thread only.

#include "shell/dashboard/DashboardServices.h"
#include "shell/dashboard/DelayedCalls.h"

#include <QObject>
#include <QVariantList>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace vantrel {

class AppSettings;
class MediaDeviceManager;

class DashboardViewModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QObject* settings READ settingsObject CONSTANT)
    Q_PROPERTY(bool isShowingDemo READ isShowingDemo NOTIFY demoChanged)
    Q_PROPERTY(bool hasDemoPlayer READ hasDemoPlayer NOTIFY demoChanged)
    Q_PROPERTY(QString demoTitle READ demoTitle NOTIFY demoChanged)
    Q_PROPERTY(QString demoIcon READ demoIcon NOTIFY demoChanged)
    Q_PROPERTY(QString demoDescription READ demoDescription NOTIFY demoChanged)
    Q_PROPERTY(QString demoVideo READ demoVideo NOTIFY demoChanged)
    Q_PROPERTY(QString microphoneLabel READ microphoneLabel NOTIFY devicesChanged)
    Q_PROPERTY(QString cameraLabel READ cameraLabel NOTIFY devicesChanged)
    Q_PROPERTY(QVariantList microphones READ microphones NOTIFY devicesChanged)
    Q_PROPERTY(QVariantList cameras READ cameras NOTIFY devicesChanged)
    Q_PROPERTY(QObject* demoPlayer READ demoPlayerObject NOTIFY demoChanged)
    /// The settings' enumerations as their numbers, which QML can read.
    Q_PROPERTY(int keystrokeDisplayMode READ keystrokeDisplayMode WRITE setKeystrokeDisplayMode NOTIFY
                   displayChoicesChanged)
    Q_PROPERTY(int webcamPosition READ webcamPosition WRITE setWebcamPosition NOTIFY displayChoicesChanged)

public:
    static constexpr std::chrono::milliseconds kHideDelay{100};
    static constexpr std::chrono::milliseconds kHideDuration{400};
    static constexpr std::chrono::milliseconds kCameraRestartDelay{100};

    struct Services {
        std::shared_ptr<DashboardPermissions> permissions;
        std::shared_ptr<DemoPlayerFactory> demoPlayers;
        std::shared_ptr<PreviewCamera> previewCamera;
        std::shared_ptr<RecordingToggle> recording;
        std::shared_ptr<DelayedCalls> delays;
        /// Opens the system's settings; NSWorkspace::openURL when empty.
        std::function<bool(const std::string&)> openURL;
    };

    /// `devices` may be null (the menus then list "System Default" alone).
    DashboardViewModel(std::shared_ptr<AppSettings> settings, std::shared_ptr<MediaDeviceManager> devices,
                       Services services, QObject* parent = nullptr);
    ~DashboardViewModel() override;

    QObject* settingsObject() const;

    /// A switch or the webcam card: "autoZoom", "systemAudio", "microphone",
    /// "keystrokes", "mouseClicks", "cursorText", "webcam".
    Q_INVOKABLE void setFeature(const QString& feature, bool on);
    Q_INVOKABLE void selectMicrophone(const QString& uniqueID);
    Q_INVOKABLE void selectCamera(const QString& uniqueID);
    Q_INVOKABLE void startRecording();
    /// The view's close button.
    Q_INVOKABLE void close() {
        if (onClose) onClose();
    }
    /// Set by the window's owner.
    std::function<void()> onClose;

    /// The pointer entered or left a hover target (a feature name or "start").
    Q_INVOKABLE void playDemo(const QString& target);
    Q_INVOKABLE void hideDemo();

    /// The window opened or closed.
    Q_INVOKABLE void appear();
    Q_INVOKABLE void disappear();

    bool isShowingDemo() const { return isShowingDemo_; }
    bool hasDemoPlayer() const { return demoPlayer_ != nullptr; }
    DemoPlayer* demoPlayer() const { return demoPlayer_.get(); }
    /// The player as the view's video item takes it (null for players that are no QObject).
    QObject* demoPlayerObject() const { return dynamic_cast<QObject*>(demoPlayer_.get()); }
    QString demoTitle() const { return demoTitle_; }
    QString demoIcon() const { return demoIcon_; }
    QString demoDescription() const { return demoDescription_; }
    QString demoVideo() const { return demoVideo_; }

    QString microphoneLabel() const;
    QString cameraLabel() const;
    QVariantList microphones() const;
    QVariantList cameras() const;
    int keystrokeDisplayMode() const;
    void setKeystrokeDisplayMode(int mode);
    int webcamPosition() const;
    void setWebcamPosition(int position);

signals:
    void demoChanged();
    void devicesChanged();
    void displayChoicesChanged();

private:
    bool featureValue(const QString& feature) const;
    void writeFeature(const QString& feature, bool on);
    void switchOnWithMediaAccess(DashboardPermission media, const QString& feature);
    void offerSettings(DashboardPermission permission);
    void refreshDemoCaption(const QString& feature);
    void startPreview();
    void cancelDemoTask();

    std::shared_ptr<AppSettings> settings_;
    std::shared_ptr<MediaDeviceManager> devices_;
    Services services_;
    std::unique_ptr<DemoPlayer> demoPlayer_;
    std::shared_ptr<DelayedCalls::Handle> demoTask_;
    bool isShowingDemo_ = false;
    QString demoTitle_, demoIcon_, demoDescription_, demoVideo_;
};

} // namespace vantrel
