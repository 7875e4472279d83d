#include "shell/controlbar/ControlBarWindowManager.h"

#include "devices/MediaDeviceManager.h"
#include "platform/core/WeakClosure.h"
#include "settings/AppSettings.h"

#include <QQuickView>
#include <QVariantMap>

namespace vantrel {

ControlBarWindowManager::ControlBarWindowManager() : settings_(AppSettings::shared()) {
    isWebcamEnabled_ = settings_->showWebcam();
    isMicMuted_ = !settings_->enableMicAudio();
    for (auto signal : {&AppSettings::enableSystemAudioChanged, &AppSettings::showKeystrokesChanged,
                        &AppSettings::showMouseClicksChanged})
        connect(settings_.get(), signal, this, &ControlBarWindowManager::indicatorsChanged);
}

ControlBarWindowManager::~ControlBarWindowManager() = default;

// --- Fields ------------------------------------------------------------------------

void ControlBarWindowManager::setState(RecordingState state) {
    if (state_ == state) return;
    const QString before = layout();
    state_ = state;
    emit stateChanged();
    if (layout() != before) emit layoutChanged();
}

void ControlBarWindowManager::setCountdownRemaining(int value) {
    if (countdownRemaining_ == value) return;
    countdownRemaining_ = value;
    emit countdownRemainingChanged();
}

void ControlBarWindowManager::setIsCountingDown(bool value) {
    if (isCountingDown_ == value) return;
    const QString before = layout();
    isCountingDown_ = value;
    if (layout() != before) emit layoutChanged();
}

void ControlBarWindowManager::setIsStartingRecording(bool value) {
    if (isStartingRecording_ == value) return;
    const QString before = layout();
    isStartingRecording_ = value;
    if (layout() != before) emit layoutChanged();
}

void ControlBarWindowManager::setRecordingSnapshot(std::optional<AppSettingsSnapshot> snapshot) {
    recordingSnapshot_ = std::move(snapshot);
    emit indicatorsChanged();
}

void ControlBarWindowManager::setElapsedSeconds(int value) {
    if (elapsedSeconds_ == value) return;
    elapsedSeconds_ = value;
    emit elapsedSecondsChanged();
}

void ControlBarWindowManager::setIsWebcamEnabled(bool value) {
    if (isWebcamEnabled_ != value) {
        isWebcamEnabled_ = value;
        emit isWebcamEnabledChanged();
    }
    settings_->setShowWebcam(value);
}

void ControlBarWindowManager::setIsMicMuted(bool value) {
    if (isMicMuted_ != value) {
        isMicMuted_ = value;
        emit isMicMutedChanged();
    }
    settings_->setEnableMicAudio(!value);
}

// --- Show, close, timers ------------------------------------------------------------

void ControlBarWindowManager::show(RecordingState state) {
    if (window_) {
        applyCaptureProperties();
        setState(state);
        updateTimers();
        return;
    }
    setState(state);
    updateTimers();
    setElapsedSeconds(0);
    setIsWebcamEnabled(settings_->showWebcam());
    setIsMicMuted(!settings_->enableMicAudio());
    emit devicesChanged();
    createWindow();
    if (state_ == RecordingState::recording) startClock();
}

void ControlBarWindowManager::close() {
    if (elapsedTimer_) elapsedTimer_->invalidate();
    elapsedTimer_.reset();
    if (window_) {
        window_->close();
        // The view may be inside one of its own signal handlers (a stop press).
        window_.release()->deleteLater();
    }
    setRecordingSnapshot(std::nullopt);
}

void ControlBarWindowManager::stopCountdown() {
    if (countdownTimer) countdownTimer->invalidate();
    countdownTimer.reset();
    setIsCountingDown(false);
}

void ControlBarWindowManager::updateTimers() {
    if (state_ == RecordingState::recording && !elapsedTimer_) {
        startClock();
    } else if (state_ == RecordingState::idle) {
        if (elapsedTimer_) elapsedTimer_->invalidate();
        elapsedTimer_.reset();
        stopCountdown();
    }
}

void ControlBarWindowManager::startClock() {
    if (elapsedTimer_) return;
    // The timer keeps firing while paused; only a recording second counts.
    elapsedTimer_ = NSTimer::scheduledTimer(kClockIntervalSeconds, true,
                                            weakly(this, [](ControlBarWindowManager& bar, NSTimer&) {
                                                if (bar.state_ == RecordingState::recording)
                                                    bar.setElapsedSeconds(bar.elapsedSeconds_ + 1);
                                            }));
}

void ControlBarWindowManager::countdownTick() {
    setCountdownRemaining(countdownRemaining_ - 1);
    if (countdownRemaining_ < 1) {
        setIsStartingRecording(true);
        stopCountdown();
        runCallback(onStartRecording);
    }
}

// --- What the view reads ----------------------------------------------------------------

QString ControlBarWindowManager::layout() const {
    if (isCountingDown_ || isStartingRecording_) return QStringLiteral("countdown");
    if (state_ == RecordingState::standby) return QStringLiteral("standby");
    return QStringLiteral("recording");
}

QString ControlBarWindowManager::elapsedText() const {
    return QString::asprintf("%02d:%02d", elapsedSeconds_ / 60, elapsedSeconds_ % 60);
}

bool ControlBarWindowManager::systemAudioIndicator() const {
    return recordingSnapshot_ ? recordingSnapshot_->enableSystemAudio : settings_->enableSystemAudio();
}

bool ControlBarWindowManager::keystrokesIndicator() const {
    return recordingSnapshot_ ? recordingSnapshot_->showKeystrokes : settings_->showKeystrokes();
}

bool ControlBarWindowManager::mouseClicksIndicator() const {
    return recordingSnapshot_ ? recordingSnapshot_->showMouseClicks : settings_->showMouseClicks();
}

namespace {

QVariantList choices(const std::vector<AVCaptureDevice>& devices) {
    QVariantList rows;
    rows.append(QVariantMap{{"name", QObject::tr("System Default")}, {"id", QString()}});
    for (const auto& device : devices)
        rows.append(QVariantMap{{"name", QString::fromStdString(device.localizedName)},
                                {"id", QString::fromStdString(device.uniqueID)}});
    return rows;
}

} // namespace

QVariantList ControlBarWindowManager::cameraChoices() const {
    return choices(MediaDeviceManager::shared()->availableCameras());
}

QVariantList ControlBarWindowManager::micChoices() const {
    return choices(MediaDeviceManager::shared()->availableMics());
}

// --- What the view's controls call ----------------------------------------------------

void ControlBarWindowManager::runCallback(const std::function<void()>& callback) {
    if (callback) callback();
}

void ControlBarWindowManager::cancelCountdownPressed() {
    stopCountdown();
    runCallback(onCancelStandby);
}

void ControlBarWindowManager::cancelStandbyPressed() {
    runCallback(onCancelStandby);
}
void ControlBarWindowManager::startPressed() {
    runCallback(onCountdownStart);
}
void ControlBarWindowManager::pausePressed() {
    runCallback(onTogglePause);
}
void ControlBarWindowManager::stopPressed() {
    runCallback(onStopRecording);
}

void ControlBarWindowManager::selectCamera(const QString& uniqueID) {
    settings_->setSelectedCameraID(uniqueID);
}
void ControlBarWindowManager::selectMicrophone(const QString& uniqueID) {
    settings_->setSelectedMicID(uniqueID);
}

} // namespace vantrel
