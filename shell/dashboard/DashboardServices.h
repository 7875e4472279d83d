#pragma once
// What the dashboard's model asks of the world, each behind a small
// interface so that the model runs in a test without a display, a camera or
// the application: privileges and their alerts, the demo player, the preview
// camera, and the recording flow behind the start button. Main thread only.

#include <QString>
#include <functional>
#include <memory>
#include <optional>

namespace vantrel {

enum class DashboardPermission { microphone, camera, accessibility };

class DashboardPermissions {
public:
    virtual ~DashboardPermissions() = default;
    virtual bool isAccessibilityTrusted() = 0;
    /// 0 not determined, 1 restricted, 2 denied, 3 authorised.
    virtual int authorizationStatus(DashboardPermission media) = 0;
    /// Asks the system; `done(granted)` runs on the main thread later.
    virtual void requestAccess(DashboardPermission media, std::function<void(bool)> done) = 0;
    /// Shows the alert that offers the system's settings without blocking;
    /// `done(openSettings)` runs on the main thread once the user answered.
    virtual void runPermissionAlert(DashboardPermission permission, std::function<void(bool)> done) = 0;
};

/// One looping, muted demo video.
class DemoPlayer {
public:
    virtual ~DemoPlayer() = default;
    /// The file name of the video it holds ("demo_autozoom.mp4").
    virtual QString currentFileName() const = 0;
    virtual void play() = 0;
    virtual void pause() = 0;
};

class DemoPlayerFactory {
public:
    virtual ~DemoPlayerFactory() = default;
    /// A player for `video` (a name without extension), or null when there is no such video.
    virtual std::unique_ptr<DemoPlayer> make(const QString& video) = 0;
};

/// The dashboard's own camera stream, not the recorder's.
class PreviewCamera {
public:
    virtual ~PreviewCamera() = default;
    /// A failure leaves the preview dark; nothing is said.
    virtual void startCapture(const QString& cameraID) = 0;
    virtual void stopCapture() = 0;
    virtual bool isCapturing() const = 0;
};

/// The start button's way into the recording flow (the menu bar model's toggleRecording).
class RecordingToggle {
public:
    virtual ~RecordingToggle() = default;
    virtual void toggleRecording() = 0;
};

} // namespace vantrel
