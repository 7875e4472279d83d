#pragma once
// The floating capsule at the top of the screen during a recording: the
// countdown, the standby row of switches with its start button, and the
// recording row with the clock, pause and stop. The manager owns the window,
// the countdown's timer slot and the clock; it knows nothing of the
// recorder and reaches the model through five callbacks. Its properties are
// all the QML view binds to: the view decides nothing.
//
// Main thread only. Timers hold the manager weakly.

#include "engine/FrameInputs.h"
#include "platform/runtime/NSTimer.h"
#include "shell/common/AppRecordingState.h"

#include <QObject>
#include <QString>
#include <QVariantList>
#include <functional>
#include <memory>
#include <optional>

class QQuickView;

namespace vantrel {

class AppSettings;

class ControlBarWindowManager final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString layout READ layout NOTIFY layoutChanged)
    Q_PROPERTY(bool isPaused READ isPaused NOTIFY stateChanged)
    Q_PROPERTY(int countdownRemaining READ countdownRemaining NOTIFY countdownRemainingChanged)
    Q_PROPERTY(QString elapsedText READ elapsedText NOTIFY elapsedSecondsChanged)
    Q_PROPERTY(
        bool isWebcamEnabled READ isWebcamEnabled WRITE setIsWebcamEnabled NOTIFY isWebcamEnabledChanged)
    Q_PROPERTY(bool isMicMuted READ isMicMuted WRITE setIsMicMuted NOTIFY isMicMutedChanged)
    Q_PROPERTY(bool systemAudioIndicator READ systemAudioIndicator NOTIFY indicatorsChanged)
    Q_PROPERTY(bool keystrokesIndicator READ keystrokesIndicator NOTIFY indicatorsChanged)
    Q_PROPERTY(bool mouseClicksIndicator READ mouseClicksIndicator NOTIFY indicatorsChanged)
    Q_PROPERTY(QVariantList cameraChoices READ cameraChoices NOTIFY devicesChanged)
    Q_PROPERTY(QVariantList micChoices READ micChoices NOTIFY devicesChanged)

public:
    using RecordingState = AppRecordingState;
    static constexpr int kInitialCountdown = 3;
    static constexpr double kClockIntervalSeconds = 1.0;
    /// Between the top of the screen's available area and the bar.
    static constexpr int kTopMargin = 40;

    ControlBarWindowManager();
    ~ControlBarWindowManager() override;

    // --- What the model calls ------------------------------------------------

    /// Opens the bar, or brings the open bar to `state` without moving it or resetting its clock.
    void show(RecordingState state);
    void close();
    /// Ends the countdown without firing anything.
    void stopCountdown();
    /// Aligns the clock with `state`, after the model set it.
    void updateTimers();
    /// One second of the countdown.
    void countdownTick();

    RecordingState state() const { return state_; }
    void setState(RecordingState state);
    int countdownRemaining() const { return countdownRemaining_; }
    void setCountdownRemaining(int value);
    bool isCountingDown() const { return isCountingDown_; }
    void setIsCountingDown(bool value);
    bool isStartingRecording() const { return isStartingRecording_; }
    void setIsStartingRecording(bool value);
    const std::optional<AppSettingsSnapshot>& recordingSnapshot() const { return recordingSnapshot_; }
    void setRecordingSnapshot(std::optional<AppSettingsSnapshot> snapshot);
    int elapsedSeconds() const { return elapsedSeconds_; }
    bool isWebcamEnabled() const { return isWebcamEnabled_; }
    void setIsWebcamEnabled(bool value);
    bool isMicMuted() const { return isMicMuted_; }
    void setIsMicMuted(bool value);

    /// Scheduled by the model, ended here.
    std::unique_ptr<NSTimer> countdownTimer;
    std::function<void()> onStartRecording;
    std::function<void()> onCountdownStart;
    std::function<void()> onStopRecording;
    std::function<void()> onTogglePause;
    std::function<void()> onCancelStandby;

    // --- What the view reads -------------------------------------------------

    /// "countdown", "standby" or "recording".
    QString layout() const;
    bool isPaused() const { return state_ == RecordingState::paused; }
    /// Minutes and seconds, "%02d:%02d"; the minutes are not capped.
    QString elapsedText() const;
    /// The recording's own value while there is a snapshot, else the setting.
    bool systemAudioIndicator() const;
    bool keystrokesIndicator() const;
    bool mouseClicksIndicator() const;
    /// {name, id} rows, the system default (empty id) first.
    QVariantList cameraChoices() const;
    QVariantList micChoices() const;

    // --- What the view's controls call -----------------------------------------

    Q_INVOKABLE void cancelCountdownPressed();
    Q_INVOKABLE void cancelStandbyPressed();
    Q_INVOKABLE void startPressed();
    Q_INVOKABLE void pausePressed();
    Q_INVOKABLE void stopPressed();
    Q_INVOKABLE void selectCamera(const QString& uniqueID);
    Q_INVOKABLE void selectMicrophone(const QString& uniqueID);
    /// Dragging by the surface: the window manager moves it when there is
    /// one; otherwise the view reports the pointer's steps to moveBy.
    Q_INVOKABLE bool beginSystemMove();
    Q_INVOKABLE void moveBy(int dx, int dy);
    /// The camera ("camera") or microphone picker, as a menu at a screen point.
    Q_INVOKABLE void showDeviceMenu(const QString& kind, int globalX, int globalY);
    /// Tool-tips in windows of their own, which the small bar could not hold.
    Q_INVOKABLE void showTip(const QString& text, int globalX, int globalY);
    Q_INVOKABLE void hideTip();

    /// The open window, for the app's tests and screenshots; null while closed.
    QQuickView* window() const { return window_.get(); }
    const NSTimer* elapsedTimer() const { return elapsedTimer_.get(); }

signals:
    void layoutChanged();
    void stateChanged();
    void countdownRemainingChanged();
    void elapsedSecondsChanged();
    void isWebcamEnabledChanged();
    void isMicMutedChanged();
    void indicatorsChanged();
    void devicesChanged();

private:
    void startClock();
    void setElapsedSeconds(int value);
    void createWindow();
    void applyCaptureProperties();
    static void runCallback(const std::function<void()>& callback);

    RecordingState state_ = RecordingState::idle;
    int countdownRemaining_ = kInitialCountdown;
    bool isCountingDown_ = false;
    bool isStartingRecording_ = false;
    std::optional<AppSettingsSnapshot> recordingSnapshot_;
    bool isWebcamEnabled_ = false;
    int elapsedSeconds_ = 0;
    bool isMicMuted_ = true;
    std::unique_ptr<QQuickView> window_;
    std::unique_ptr<NSTimer> elapsedTimer_;
    std::shared_ptr<AppSettings> settings_;
};

} // namespace vantrel
