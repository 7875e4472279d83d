#pragma once
// The application's state machine: when a recording may start, the walk
// through missing permissions and devices, the countdown, the calls to the
// recorder in their order, the tray icon's state and the global shortcut.
// One instance lives for the whole process.
//
// Main thread only. Work that waits runs in main-thread tasks, which may
// interleave at their waits; each looks at `state` again where it matters.
// Hold the model for as long as its tasks may run (the app keeps it for its
// whole life): the tasks work on it directly, and only the closures that
// outlive everything (timers, the shortcut's monitors, the bar's callbacks)
// hold it weakly.

#include "devices/ScreenRecorderError.h"
#include "platform/runtime/NSTimer.h"
#include "shell/common/AlertPresenter.h"
#include "shell/common/AppRecordingState.h"
#include "shell/menubar/GlobalHotkey.h"
#include "shell/menubar/PermissionAlerts.h"
#include "shell/menubar/RecorderControl.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

namespace vantrel {

class AppSettings;
class ControlBarWindowManager;
class DashboardWindowManager;

class MenuBarViewModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(int state READ stateValue NOTIFY stateChanged)
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY stateChanged)
    Q_PROPERTY(bool isPaused READ isPaused NOTIFY stateChanged)
    Q_PROPERTY(bool showPauseIcon READ showPauseIcon NOTIFY showPauseIconChanged)
    Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY errorMessageChanged)

public:
    using RecordingState = AppRecordingState;
    static constexpr int kCountdownSeconds = 3;
    static constexpr double kCountdownIntervalSeconds = 1.0;
    static constexpr double kPauseBlinkIntervalSeconds = 0.6;

    /// The permission and device lists a pre-flight check found.
    struct PermissionStatus {
        bool microphoneUndecided = false;
        bool cameraUndecided = false;
        std::vector<DeniedPermission> denied;
    };

    /// `recorder` null: the real recorder on the shared objects. `terminate`
    /// ends the process (default: leave the main loop with 0).
    explicit MenuBarViewModel(std::shared_ptr<RecorderControl> recorder = nullptr,
                              std::function<void()> terminate = nullptr);
    ~MenuBarViewModel() override;

    // --- What the views and the app call ------------------------------------

    /// The single start-or-stop entry.
    void toggleRecording();
    void togglePause();
    /// Opens the dashboard when nothing is recording.
    void showDashboard();
    /// Stops a running recording and finishes its files first, then ends the process.
    void quitApp();

    RecordingState state() const { return state_; }
    int stateValue() const { return static_cast<int>(state_); }
    bool isRecording() const {
        return state_ == RecordingState::recording || state_ == RecordingState::paused;
    }
    bool isPaused() const { return state_ == RecordingState::paused; }
    bool showPauseIcon() const { return showPauseIcon_; }
    const QString& errorMessage() const { return errorMessage_; }
    bool isShowingDeviceAlert() const { return isShowingDeviceAlert_; }
    /// From the first check to the recorder's answer to the start.
    bool isStartInFlight() const;

    ControlBarWindowManager& controlBar() { return *controlBar_; }
    DashboardWindowManager& dashboardManager() { return *dashboardManager_; }
    RecorderControl& recorder() { return *recorder_; }
    const NSTimer* blinkTimer() const { return blinkTimer_.get(); }

    // --- The steps of the flow, public for the shortcut and the tests -------

    /// The shortcut's matcher: the event against the stored shortcut.
    void handleHotkeyEvent(const NSEvent& event);
    void beginRecordingFlow();
    void cancelStandby();
    QCoro::Task<> toggleRecordingBody();
    QCoro::Task<> stopAndReturnToIdle();
    PermissionStatus collectPermissionStatus() const;

signals:
    void stateChanged();
    void showPauseIconChanged();
    void errorMessageChanged();
    /// After the dashboard was asked to show or close (observers and tests).
    void dashboardShown();
    void dashboardClosed();
    /// When quitApp has ended the process's work and calls `terminate`.
    void terminating();

private:
    void setState(RecordingState state);
    void setErrorMessage(const QString& message);
    void setShowPauseIcon(bool value);
    void openDashboard();
    void closeDashboard();

    void installGlobalHotkey();
    QCoro::Task<> runPreflightChecks();
    QCoro::Task<> requestUndeterminedAccess(bool microphone, bool camera);
    QCoro::Task<bool> confirmDeniedPermissions(std::vector<DeniedPermission> denied);
    void startCountdown();
    QCoro::Task<> prepareDuringCountdown();
    QCoro::Task<> startAfterCountdown();
    QCoro::Task<> handleDeviceNotFound(DeviceNotFoundContext context, bool isCounting);
    QCoro::Task<> quitAfterStop();
    void startPauseBlink();
    void stopPauseBlink();

    RecordingState state_ = RecordingState::idle;
    QString errorMessage_;
    bool isShowingDeviceAlert_ = false;
    /// The checks and their alerts are running: a second press of the
    /// shortcut must not start a second walk through them.
    bool isRunningPreflight_ = false;
    std::shared_ptr<RecorderControl> recorder_;
    std::unique_ptr<ControlBarWindowManager> controlBar_;
    std::unique_ptr<DashboardWindowManager> dashboardManager_;
    std::unique_ptr<NSTimer> blinkTimer_;
    bool showPauseIcon_ = true;
    std::unique_ptr<GlobalHotkeyToken> hotkeyToken_;
    std::function<void()> terminate_;
    std::shared_ptr<AppSettings> settings_;
};

} // namespace vantrel
