#include "shell/menubar/MenuBarViewModel.h"

#include "platform/core/ConsoleLine.h"
#include "platform/core/WeakClosure.h"
#include "settings/AppSettings.h"
#include "shell/controlbar/ControlBarWindowManager.h"
#include "shell/dashboard/DashboardWindowManager.h"

#include <QCoreApplication>

namespace vantrel {

MenuBarViewModel::MenuBarViewModel(std::shared_ptr<RecorderControl> recorder, std::function<void()> terminate)
    : recorder_(recorder ? std::move(recorder) : std::make_shared<ScreenRecorderControl>()),
      controlBar_(std::make_unique<ControlBarWindowManager>()),
      dashboardManager_(std::make_unique<DashboardWindowManager>()),
      terminate_(terminate ? std::move(terminate) : [] { QCoreApplication::exit(0); }),
      settings_(AppSettings::shared()) {
    controlBar_->onCountdownStart = weakly(this, [](MenuBarViewModel& model) { model.beginRecordingFlow(); });
    controlBar_->onStartRecording =
        weakly(this, [](MenuBarViewModel& model) { model.startAfterCountdown(); });
    controlBar_->onCancelStandby = weakly(this, [](MenuBarViewModel& model) { model.cancelStandby(); });
    controlBar_->onStopRecording = weakly(this, [](MenuBarViewModel& model) { model.stopAndReturnToIdle(); });
    controlBar_->onTogglePause = weakly(this, [](MenuBarViewModel& model) { model.togglePause(); });
    installGlobalHotkey();
}

MenuBarViewModel::~MenuBarViewModel() = default;

void MenuBarViewModel::setState(RecordingState state) {
    if (state_ == state) return;
    state_ = state;
    emit stateChanged();
}

void MenuBarViewModel::setErrorMessage(const QString& message) {
    if (errorMessage_ == message) return;
    errorMessage_ = message;
    emit errorMessageChanged();
}

void MenuBarViewModel::setShowPauseIcon(bool value) {
    if (showPauseIcon_ == value) return;
    showPauseIcon_ = value;
    emit showPauseIconChanged();
}

bool MenuBarViewModel::isStartInFlight() const {
    return isRunningPreflight_ || controlBar_->isStartingRecording();
}

void MenuBarViewModel::openDashboard() {
    dashboardManager_->show(*this);
    emit dashboardShown();
}

void MenuBarViewModel::closeDashboard() {
    dashboardManager_->close();
    emit dashboardClosed();
}

// --- Global shortcut -----------------------------------------------------------

void MenuBarViewModel::installGlobalHotkey() {
    auto events = InputEvents::shared();
    auto token = std::make_unique<GlobalHotkeyToken>(events);
    const auto handler =
        weakly(this, [](MenuBarViewModel& model, const NSEvent& event) { model.handleHotkeyEvent(event); });
    token->globalHotkeyMonitor = events->addGlobalMonitorForEvents(maskOf(NSEventType::keyDown), handler);
    // On X11 the global monitor already sees our own windows' keys; the
    // local one exists where the service gives it.
    token->localHotkeyMonitor = events->addLocalMonitorForEvents(maskOf(NSEventType::keyDown), handler);
    if (!token->globalHotkeyMonitor)
        printLine("⚠️ The recording shortcut is not available: the display's input cannot be observed");
    hotkeyToken_ = std::move(token);
}

void MenuBarViewModel::handleHotkeyEvent(const NSEvent& event) {
    if (!matchesRecordingShortcut(event, settings_->recordingShortcutKey(),
                                  settings_->recordingShortcutModifiersRaw()))
        return;
    toggleRecordingBody();
}

// --- Commands --------------------------------------------------------------------

void MenuBarViewModel::toggleRecording() {
    toggleRecordingBody();
}

QCoro::Task<> MenuBarViewModel::toggleRecordingBody() {
    switch (state_) {
    case RecordingState::recording:
    case RecordingState::paused:
        co_await stopAndReturnToIdle();
        break;
    case RecordingState::standby:
        // Once the countdown is over, the start is the recorder's to finish:
        // cancelling now would leave it recording behind a closed bar.
        if (!controlBar_->isStartingRecording()) cancelStandby();
        break;
    case RecordingState::idle:
        if (isRunningPreflight_) break;
        closeDashboard();
        beginRecordingFlow();
        break;
    }
}

void MenuBarViewModel::togglePause() {
    if (state_ == RecordingState::recording) {
        recorder_->pause();
        setState(RecordingState::paused);
        controlBar_->setState(RecordingState::paused);
        controlBar_->updateTimers();
        startPauseBlink();
    } else if (state_ == RecordingState::paused) {
        recorder_->resume();
        setState(RecordingState::recording);
        controlBar_->setState(RecordingState::recording);
        controlBar_->updateTimers();
        stopPauseBlink();
    }
}

void MenuBarViewModel::startPauseBlink() {
    setShowPauseIcon(true);
    blinkTimer_ = NSTimer::scheduledTimer(kPauseBlinkIntervalSeconds, true,
                                          weakly(this, [](MenuBarViewModel& model, NSTimer&) {
                                              model.setShowPauseIcon(!model.showPauseIcon_);
                                          }));
}

void MenuBarViewModel::stopPauseBlink() {
    if (blinkTimer_) blinkTimer_->invalidate();
    blinkTimer_.reset();
    setShowPauseIcon(true);
}

void MenuBarViewModel::showDashboard() {
    if (state_ == RecordingState::idle) openDashboard();
}

void MenuBarViewModel::quitApp() {
    if (isRecording()) {
        quitAfterStop();
        return;
    }
    emit terminating();
    terminate_();
}

QCoro::Task<> MenuBarViewModel::quitAfterStop() {
    co_await stopAndReturnToIdle();
    // Ends whether or not the stop succeeded: the files are as finished as they can be.
    emit terminating();
    terminate_();
}

} // namespace vantrel
