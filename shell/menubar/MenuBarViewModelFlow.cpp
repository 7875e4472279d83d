// The road of one recording through the model: the pre-flight checks and
// their alerts, the countdown with the preparation behind it, the start,
// a missing device, and the stop.
#include "platform/camera/CaptureDevice.h"
#include "platform/core/ConsoleLine.h"
#include "platform/core/WeakClosure.h"
#include "platform/permissions/PrivacyAccess.h"
#include "platform/runtime/Workspace.h"
#include "settings/AppSettings.h"
#include "shell/controlbar/ControlBarWindowManager.h"
#include "shell/menubar/MenuBarViewModel.h"

#include <QCoreApplication>
#include <QCoro/QCoroTimer>
#include <chrono>

namespace vantrel {

namespace {

QString errorText(const std::exception& error) {
    return QString::fromUtf8(error.what());
}

} // namespace

void MenuBarViewModel::beginRecordingFlow() {
    if (state_ != RecordingState::idle || isRunningPreflight_) return;
    runPreflightChecks();
}

QCoro::Task<> MenuBarViewModel::runPreflightChecks() {
    isRunningPreflight_ = true;
    auto status = collectPermissionStatus();
    if (status.microphoneUndecided || status.cameraUndecided)
        co_await requestUndeterminedAccess(status.microphoneUndecided, status.cameraUndecided);
    status = collectPermissionStatus();
    bool confirmed = true;
    if (!status.denied.empty()) confirmed = co_await confirmDeniedPermissions(status.denied);
    isRunningPreflight_ = false;
    if (confirmed)
        startCountdown();
    else if (state_ == RecordingState::idle)
        // The user who closed the dashboard by pressing the shortcut gets it back.
        openDashboard();
}

MenuBarViewModel::PermissionStatus MenuBarViewModel::collectPermissionStatus() const {
    PermissionStatus status;
    if (!CGPreflightScreenCaptureAccess()) {
        status.denied.push_back({DeniedPermission::Kind::screenRecording});
        return status;
    }
    const bool keystrokes = settings_->showKeystrokes();
    const bool clicks = settings_->showMouseClicks();
    if ((keystrokes || clicks) && !AXIsProcessTrusted())
        status.denied.push_back({DeniedPermission::Kind::accessibility, keystrokes, clicks});
    const auto inspect = [&](AVMediaType type, bool& undecided, DeniedPermission::Kind kind) {
        const int authorization = AVCaptureDevice::authorizationStatusForMediaType(type);
        if (authorization == AVAuthorizationStatusNotDetermined)
            undecided = true;
        else if (authorization != AVAuthorizationStatusAuthorized)
            status.denied.push_back({kind});
    };
    if (settings_->enableMicAudio())
        inspect(AVMediaType::audio, status.microphoneUndecided, DeniedPermission::Kind::microphone);
    if (settings_->showWebcam())
        inspect(AVMediaType::video, status.cameraUndecided, DeniedPermission::Kind::camera);
    return status;
}

QCoro::Task<> MenuBarViewModel::requestUndeterminedAccess(bool microphone, bool camera) {
    // Each wait stands alone: GCC 12 loses coroutine frames awaited inside && and ?:.
    if (microphone) {
        const bool granted = co_await AVCaptureDevice::requestAccessForMediaType(AVMediaType::audio);
        if (!granted) settings_->setEnableMicAudio(false);
    }
    if (camera) {
        const bool granted = co_await AVCaptureDevice::requestAccessForMediaType(AVMediaType::video);
        if (!granted) settings_->setShowWebcam(false);
    }
}

QCoro::Task<bool> MenuBarViewModel::confirmDeniedPermissions(std::vector<DeniedPermission> denied) {
    const AlertLanguage language = currentAlertLanguage();
    auto alerts = AlertPresenter::shared();
    for (const DeniedPermission& permission : denied) {
        const int response = co_await alerts->runModal(permissionAlert(permission, language));
        if (response == kAlertFirstButtonReturn) {
            const char* url = permissionSettingsURL(permission.kind);
            if (!NSWorkspace::openURL(url)) {
                // No settings program on this desktop: say what to do instead.
                AlertRequest manual{permissionAlert(permission, language).messageText,
                                    QString::fromStdString(manualInstructionForURL(url)),
                                    {QStringLiteral("OK")}};
                co_await alerts->runModal(manual);
            }
            co_return false;
        }
        if (response != kAlertFirstButtonReturn + 1 ||
            permission.kind == DeniedPermission::Kind::screenRecording)
            co_return false;
        switch (permission.kind) {
        case DeniedPermission::Kind::microphone:
            settings_->setEnableMicAudio(false);
            break;
        case DeniedPermission::Kind::camera:
            settings_->setShowWebcam(false);
            break;
        case DeniedPermission::Kind::accessibility:
            if (permission.showKeystrokes) settings_->setShowKeystrokes(false);
            if (permission.showMouseClicks) settings_->setShowMouseClicks(false);
            break;
        case DeniedPermission::Kind::screenRecording:
            break;
        }
    }
    co_return true;
}

void MenuBarViewModel::startCountdown() {
    if (state_ != RecordingState::idle) return;
    setState(RecordingState::standby);
    controlBar_->show(RecordingState::standby);
    controlBar_->setCountdownRemaining(kCountdownSeconds);
    controlBar_->setIsCountingDown(true);
    controlBar_->countdownTimer = NSTimer::scheduledTimer(
        kCountdownIntervalSeconds, true,
        weakly(controlBar_.get(), [](ControlBarWindowManager& bar, NSTimer&) { bar.countdownTick(); }));
    prepareDuringCountdown();
}

QCoro::Task<> MenuBarViewModel::prepareDuringCountdown() {
    std::optional<DeviceNotFoundContext> missing;
    try {
        co_await recorder_->prepareRecording();
        co_return;
    } catch (const ScreenRecorderError& error) {
        if (error.context())
            missing = *error.context();
        else {
            printLine(std::string("⚠️ prepareRecording failed: ") + error.what());
            setErrorMessage(error.localizedDescription());
        }
    } catch (const std::exception& error) {
        printLine(std::string("⚠️ prepareRecording failed: ") + error.what());
        setErrorMessage(errorText(error));
    }
    if (missing) {
        co_await handleDeviceNotFound(*missing, true);
        co_return;
    }
    controlBar_->stopCountdown();
    setState(RecordingState::idle);
    controlBar_->close();
}

QCoro::Task<> MenuBarViewModel::startAfterCountdown() {
    std::optional<DeviceNotFoundContext> missing;
    try {
        co_await recorder_->startRecording();
        setState(RecordingState::recording);
        setErrorMessage({});
        controlBar_->setRecordingSnapshot(settings_->makeSnapshot());
        controlBar_->show(RecordingState::recording);
        controlBar_->setIsStartingRecording(false);
        printLine("Recording Started");
        if (!recorder_->isCurrentlyRecording())
            printLine("⚠️ The recording did not start: the screen or its input could not be captured");
        co_return;
    } catch (const ScreenRecorderError& error) {
        if (error.context())
            missing = *error.context();
        else {
            setErrorMessage(error.localizedDescription());
            printLine(std::string("⚠️ startRecording failed: ") + error.what());
        }
    } catch (const std::exception& error) {
        setErrorMessage(QStringLiteral("Failed to start: ") + errorText(error));
        printLine(std::string("⚠️ startRecording failed: ") + error.what());
    }
    if (missing) {
        controlBar_->setIsStartingRecording(false);
        co_await handleDeviceNotFound(*missing, false);
        co_return;
    }
    setState(RecordingState::idle);
    controlBar_->setIsStartingRecording(false);
    controlBar_->close();
}

QCoro::Task<> MenuBarViewModel::handleDeviceNotFound(DeviceNotFoundContext context, bool isCounting) {
    if (isShowingDeviceAlert_) co_return;
    isShowingDeviceAlert_ = true;
    if (isCounting) controlBar_->stopCountdown();
    AlertRequest alert{QCoreApplication::translate("MenuBarViewModel", "Device Not Found"),
                       context.message,
                       {QCoreApplication::translate("MenuBarViewModel", "Continue Without It"),
                        QCoreApplication::translate("MenuBarViewModel", "Cancel Recording")}};
    // On the next turn of the main loop, as the alert must not run inside the failing call.
    co_await QCoro::sleepFor(std::chrono::milliseconds(0));
    const int response = co_await AlertPresenter::shared()->runModal(alert);
    isShowingDeviceAlert_ = false;
    if (response == kAlertFirstButtonReturn) {
        if (context.continueWithoutDevice) co_await context.continueWithoutDevice();
        setState(RecordingState::idle);
        co_await recorder_->cancelPreparedRecording();
        beginRecordingFlow(); // a fresh countdown of 3; the bar stays up meanwhile
        co_return;
    }
    setState(RecordingState::idle);
    controlBar_->close();
    co_await recorder_->cancelPreparedRecording();
    if (state_ == RecordingState::idle) openDashboard();
}

void MenuBarViewModel::cancelStandby() {
    if (state_ != RecordingState::standby) return;
    controlBar_->stopCountdown();
    setState(RecordingState::idle);
    controlBar_->close();
    [](std::shared_ptr<RecorderControl> recorder) -> QCoro::Task<> {
        co_await recorder->cancelPreparedRecording();
    }(recorder_);
}

QCoro::Task<> MenuBarViewModel::stopAndReturnToIdle() {
    try {
        co_await recorder_->stopRecording();
    } catch (const std::exception& error) {
        // The state, the bar and the blink stay, so the user can try again.
        setErrorMessage(QStringLiteral("Failed to stop: ") + errorText(error));
        printLine(std::string("Stop Recording Error: ") + error.what());
        co_return;
    }
    setState(RecordingState::idle);
    stopPauseBlink();
    controlBar_->close();
    printLine("Recording Stopped");
}

} // namespace vantrel
