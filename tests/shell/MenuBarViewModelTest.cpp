// The application's state machine over a recorder, alerts and privileges of
// the test's own: every transition, the order of the alerts and what they
// turn off, missing devices, failed stops, quit and the shortcut.
#include "shell/menubar/MenuBarViewModel.h"

#include "ShellFixture.h"
#include "shell/controlbar/ControlBarWindowManager.h"

#include <QLocale>
#include <QSignalSpy>
#include <stdexcept>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;
using State = MenuBarViewModel::RecordingState;

namespace {

/// Logs each call; an operation throws what the test put in its slot; a held
/// stop or start waits until released.
class RecorderFake final : public RecorderControl {
public:
    std::vector<std::string> calls;
    std::function<void()> prepareThrows, startThrows, stopThrows;
    bool holdStart = false, holdStop = false;

    QCoro::Task<> prepareRecording() override {
        calls.push_back("prepare");
        if (auto fail = std::exchange(prepareThrows, nullptr)) fail();
        co_return;
    }
    QCoro::Task<> cancelPreparedRecording() override {
        calls.push_back("cancel");
        co_return;
    }
    QCoro::Task<> startRecording() override {
        calls.push_back("start");
        while (holdStart)
            co_await QCoro::sleepFor(5ms);
        if (auto fail = std::exchange(startThrows, nullptr)) fail();
    }
    QCoro::Task<> stopRecording() override {
        calls.push_back("stop");
        while (holdStop)
            co_await QCoro::sleepFor(5ms);
        if (auto fail = std::exchange(stopThrows, nullptr)) fail();
        calls.push_back("stopped");
    }
    void pause() override { calls.push_back("pause"); }
    void resume() override { calls.push_back("resume"); }
    bool isCurrentlyRecording() const override { return true; }
};

NSEvent keyDown(const std::string& characters, uint64_t modifiers) {
    NSEvent event;
    event.type = NSEventType::keyDown;
    event.charactersIgnoringModifiers = characters;
    event.modifierFlags.rawValue = modifiers;
    return event;
}

constexpr uint64_t kCtrlAlt = NSEventModifierFlags::control | NSEventModifierFlags::option;
constexpr uint64_t kCapsLock = 0x10000;

class MenuBarViewModelTest : public ShellFixture {
protected:
    MenuBarViewModelTest() {
        model =
            std::make_unique<MenuBarViewModel>(recorder, [this] { recorder->calls.push_back("terminate"); });
    }

    ControlBarWindowManager& bar() { return model->controlBar(); }
    bool barOpen() { return bar().window() != nullptr; }

    /// Runs the loop until the state is reached; the flows only wait on the loop.
    bool reach(State state) {
        return waitUntil([&] { return model->state() == state; }, 10s);
    }

    /// The countdown's three seconds, stepped by hand.
    void finishCountdown() {
        while (bar().countdownRemaining() > 0)
            bar().countdownTick();
    }

    void startRecording() {
        model->toggleRecording();
        ASSERT_TRUE(reach(State::standby));
        finishCountdown();
        ASSERT_TRUE(reach(State::recording));
    }

    std::shared_ptr<RecorderFake> recorder = std::make_shared<RecorderFake>();
    std::unique_ptr<MenuBarViewModel> model;
};

} // namespace

TEST_F(MenuBarViewModelTest, OneRecordingFromIdleThroughPauseToIdle) {
    QSignalSpy dashboardClosed(model.get(), &MenuBarViewModel::dashboardClosed);
    testing::internal::CaptureStdout();
    model->toggleRecording();
    ASSERT_TRUE(reach(State::standby));
    EXPECT_EQ(dashboardClosed.count(), 1);
    EXPECT_TRUE(barOpen());
    EXPECT_EQ(bar().countdownRemaining(), 3);
    EXPECT_TRUE(bar().isCountingDown());
    EXPECT_EQ(bar().layout(), "countdown");
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"prepare"}));

    // The pause does nothing before the recording runs.
    model->togglePause();
    EXPECT_EQ(model->state(), State::standby);

    finishCountdown();
    ASSERT_TRUE(reach(State::recording));
    EXPECT_EQ(bar().layout(), "recording");
    EXPECT_FALSE(bar().isStartingRecording());
    ASSERT_TRUE(bar().recordingSnapshot());
    EXPECT_TRUE(model->errorMessage().isEmpty());

    model->togglePause();
    EXPECT_EQ(model->state(), State::paused);
    EXPECT_EQ(bar().state(), State::paused);
    ASSERT_NE(model->blinkTimer(), nullptr);
    EXPECT_TRUE(waitUntil([&] { return !model->showPauseIcon(); }, 10s)) << "the paused icon blinks";
    model->togglePause();
    EXPECT_EQ(model->state(), State::recording);
    EXPECT_EQ(model->blinkTimer(), nullptr);
    EXPECT_TRUE(model->showPauseIcon());

    model->toggleRecording();
    ASSERT_TRUE(reach(State::idle));
    EXPECT_FALSE(barOpen());
    EXPECT_FALSE(bar().recordingSnapshot());
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Recording Started\n"), std::string::npos);
    EXPECT_NE(out.find("Recording Stopped\n"), std::string::npos);
    EXPECT_EQ(recorder->calls,
              (std::vector<std::string>{"prepare", "start", "pause", "resume", "stop", "stopped"}));
}

TEST_F(MenuBarViewModelTest, TheCountdownIsCancelledByTheShortcutAndByTheBar) {
    QSignalSpy dashboardShown(model.get(), &MenuBarViewModel::dashboardShown);
    model->toggleRecording();
    ASSERT_TRUE(reach(State::standby));
    keys->send(keyDown("r", kCtrlAlt));
    ASSERT_TRUE(reach(State::idle));
    EXPECT_FALSE(barOpen());
    EXPECT_FALSE(bar().isCountingDown());
    EXPECT_TRUE(waitUntil([&] { return recorder->calls.back() == "cancel"; }, 10s));

    model->toggleRecording();
    ASSERT_TRUE(reach(State::standby));
    bar().cancelCountdownPressed();
    EXPECT_EQ(model->state(), State::idle);
    EXPECT_FALSE(barOpen());
    EXPECT_EQ(bar().countdownTimer, nullptr);
    EXPECT_EQ(dashboardShown.count(), 0) << "a cancel leaves the dashboard closed";

    // The bar's start button acts only from idle.
    model->toggleRecording();
    ASSERT_TRUE(reach(State::standby));
    bar().startPressed();
    runMainLoopFor(50ms);
    EXPECT_EQ(std::count(recorder->calls.begin(), recorder->calls.end(), "prepare"), 3);
}

TEST_F(MenuBarViewModelTest, FailuresReturnToIdleExceptAFailedStop) {
    testing::internal::CaptureStdout();
    recorder->prepareThrows = [] { throw std::runtime_error("no stream"); };
    model->toggleRecording();
    ASSERT_TRUE(waitUntil([&] { return model->errorMessage() == "no stream"; }, 10s));
    EXPECT_EQ(model->state(), State::idle);
    EXPECT_FALSE(barOpen());
    EXPECT_FALSE(bar().isCountingDown());

    recorder->startThrows = [] { throw std::runtime_error("writer refused"); };
    model->toggleRecording();
    ASSERT_TRUE(reach(State::standby));
    finishCountdown();
    ASSERT_TRUE(waitUntil([&] { return model->state() == State::idle; }, 10s));
    EXPECT_EQ(model->errorMessage(), "Failed to start: writer refused");
    EXPECT_FALSE(barOpen());
    EXPECT_FALSE(bar().isStartingRecording());

    recorder->startThrows = [] { throw ScreenRecorderError::microphoneNotFound(); };
    model->toggleRecording();
    ASSERT_TRUE(reach(State::standby));
    finishCountdown();
    ASSERT_TRUE(reach(State::idle));
    EXPECT_EQ(model->errorMessage(), ScreenRecorderError::microphoneNotFound().localizedDescription());

    startRecording();
    EXPECT_TRUE(model->errorMessage().isEmpty()) << "a successful start clears the last failure";
    model->togglePause();
    recorder->stopThrows = [] { throw std::runtime_error("disk gone"); };
    model->toggleRecording();
    ASSERT_TRUE(waitUntil([&] { return !model->errorMessage().isEmpty(); }, 10s));
    EXPECT_EQ(model->errorMessage(), "Failed to stop: disk gone");
    EXPECT_EQ(model->state(), State::paused) << "the user can try again";
    EXPECT_TRUE(barOpen());
    EXPECT_NE(model->blinkTimer(), nullptr);
    model->toggleRecording();
    ASSERT_TRUE(reach(State::idle));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("⚠️ prepareRecording failed: no stream\n"), std::string::npos);
    EXPECT_NE(out.find("⚠️ startRecording failed: writer refused\n"), std::string::npos);
    EXPECT_NE(out.find("Stop Recording Error: disk gone\n"), std::string::npos);
}

TEST_F(MenuBarViewModelTest, PermissionAlertsComeInOrderAndTurnOffWhatTheUserGivesUp) {
    QSignalSpy dashboardShown(model.get(), &MenuBarViewModel::dashboardShown);
    // Screen recording refused hides every other refusal; its alert has no turn-off button.
    screen->granted = false;
    settings->setEnableMicAudio(true);
    media->audioStatus = AVAuthorizationStatusDenied;
    alerts->responses = {kAlertFirstButtonReturn + 1};
    model->toggleRecording();
    ASSERT_TRUE(waitUntil([&] { return dashboardShown.count() == 1; }, 10s));
    ASSERT_EQ(alerts->shown.size(), 1u);
    EXPECT_EQ(alerts->shown[0].messageText, "Screen Recording Permission Required");
    EXPECT_EQ(alerts->shown[0].buttons, (QStringList{"Open Screen Recording Settings", "Cancel"}));
    EXPECT_EQ(model->state(), State::idle);

    // Then accessibility, microphone and camera, each turned off in turn.
    screen->granted = true;
    trust->trusted = false;
    settings->setShowKeystrokes(true);
    settings->setShowMouseClicks(true);
    settings->setShowWebcam(true);
    media->videoStatus = AVAuthorizationStatusDenied;
    alerts->shown.clear();
    alerts->responses = {kAlertFirstButtonReturn + 1, kAlertFirstButtonReturn + 1,
                         kAlertFirstButtonReturn + 1};
    model->toggleRecording();
    ASSERT_TRUE(reach(State::standby));
    ASSERT_EQ(alerts->shown.size(), 3u);
    EXPECT_EQ(alerts->shown[0].messageText, "Accessibility Permission Required");
    EXPECT_TRUE(alerts->shown[0].informativeText.startsWith(
        "To use Keystroke overlay and Mouse Click overlay, Vantrel needs Accessibility permission."));
    EXPECT_EQ(alerts->shown[0].buttons,
              (QStringList{"Open Accessibility Settings", "Turn Off and Continue", "Cancel"}));
    EXPECT_EQ(alerts->shown[1].messageText, "Microphone Permission Required");
    EXPECT_EQ(alerts->shown[2].messageText, "Camera Permission Required");
    EXPECT_FALSE(settings->showKeystrokes());
    EXPECT_FALSE(settings->showMouseClicks());
    EXPECT_FALSE(settings->enableMicAudio());
    EXPECT_FALSE(settings->showWebcam());
    model->toggleRecording();
    ASSERT_TRUE(reach(State::idle));

    // Turned off the first, cancelled the second: the first stays off, no countdown.
    settings->setShowMouseClicks(true);
    settings->setEnableMicAudio(true);
    alerts->shown.clear();
    alerts->responses = {kAlertFirstButtonReturn + 1, kAlertFirstButtonReturn + 2};
    model->toggleRecording();
    ASSERT_TRUE(waitUntil([&] { return dashboardShown.count() == 2; }, 10s));
    EXPECT_EQ(alerts->shown[0].informativeText.left(26), "To use Mouse Click overlay");
    EXPECT_FALSE(settings->showMouseClicks());
    EXPECT_TRUE(settings->enableMicAudio());
    EXPECT_EQ(model->state(), State::idle);

    // With both overlays off, accessibility is never asked about.
    settings->setEnableMicAudio(false);
    alerts->shown.clear();
    model->toggleRecording();
    ASSERT_TRUE(reach(State::standby));
    EXPECT_TRUE(alerts->shown.empty());
}

TEST_F(MenuBarViewModelTest, OpenSettingsNeverStartsAndJapaneseComesWithTheLocale) {
    QLocale::setDefault(QLocale(QLocale::Japanese, QLocale::Japan));
    settings->setShowWebcam(true);
    media->videoStatus = AVAuthorizationStatusDenied;
    // No settings program on this machine: a second alert says what to do.
    alerts->responses = {kAlertFirstButtonReturn, kAlertFirstButtonReturn};
    model->toggleRecording();
    ASSERT_TRUE(waitUntil([&] { return alerts->shown.size() == 2 && !alerts->waiting; }, 10s));
    QLocale::setDefault(QLocale::c());
    EXPECT_EQ(alerts->shown[0].messageText, "カメラの許可が必要です");
    EXPECT_EQ(alerts->shown[0].buttons,
              (QStringList{"カメラ設定を開く", "この機能をオフにして続行", "キャンセル"}));
    EXPECT_FALSE(alerts->shown[1].informativeText.isEmpty());
    runMainLoopFor(50ms);
    EXPECT_EQ(model->state(), State::idle);
    EXPECT_TRUE(settings->showWebcam());

    // A camera never decided and refused now is turned off without an alert of ours.
    alerts->shown.clear();
    media->videoStatus = AVAuthorizationStatusNotDetermined;
    model->toggleRecording();
    ASSERT_TRUE(reach(State::standby));
    EXPECT_FALSE(settings->showWebcam());
    EXPECT_TRUE(alerts->shown.empty());
}

TEST_F(MenuBarViewModelTest, AMissingDeviceAsksOnceThenRunsAFreshCountdownOrCancels) {
    settings->setEnableMicAudio(true);
    const auto missingMic = [this] {
        throw ScreenRecorderError::deviceNotFound(
            {"The microphone is gone.\nContinue without it?", [this]() -> QCoro::Task<> {
                 settings->setEnableMicAudio(false);
                 co_return;
             }});
    };
    recorder->prepareThrows = missingMic;
    model->toggleRecording();
    ASSERT_TRUE(waitUntil([&] { return alerts->waiting; }, 10s));
    EXPECT_TRUE(model->isShowingDeviceAlert());
    EXPECT_FALSE(bar().isCountingDown()) << "the standby row shows behind the alert";
    EXPECT_EQ(bar().layout(), "standby");
    EXPECT_EQ(alerts->shown[0].messageText, "Device Not Found");
    EXPECT_EQ(alerts->shown[0].buttons, (QStringList{"Continue Without It", "Cancel Recording"}));
    alerts->responses = {kAlertFirstButtonReturn};
    ASSERT_TRUE(waitUntil(
        [&] { return std::count(recorder->calls.begin(), recorder->calls.end(), "prepare") == 2; }, 10s));
    EXPECT_FALSE(settings->enableMicAudio());
    EXPECT_EQ(model->state(), State::standby);
    EXPECT_EQ(bar().countdownRemaining(), 3);
    EXPECT_TRUE(bar().isCountingDown());
    EXPECT_TRUE(barOpen());
    EXPECT_EQ(alerts->shown.size(), 1u);
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"prepare", "cancel", "prepare"}));
    model->toggleRecording();
    ASSERT_TRUE(reach(State::idle));

    // At the start, "Cancel Recording" drops it and brings the dashboard back.
    QSignalSpy dashboardShown(model.get(), &MenuBarViewModel::dashboardShown);
    recorder->startThrows = missingMic;
    model->toggleRecording();
    ASSERT_TRUE(reach(State::standby));
    finishCountdown();
    ASSERT_TRUE(waitUntil([&] { return alerts->waiting; }, 10s));
    alerts->responses = {kAlertFirstButtonReturn + 1};
    ASSERT_TRUE(waitUntil([&] { return dashboardShown.count() == 1; }, 10s));
    EXPECT_EQ(model->state(), State::idle);
    EXPECT_FALSE(barOpen());
    EXPECT_EQ(recorder->calls.back(), "cancel");
}

TEST_F(MenuBarViewModelTest, QuitFinishesTheFileFirst) {
    startRecording();
    recorder->holdStop = true;
    model->quitApp();
    runMainLoopFor(100ms);
    EXPECT_EQ(recorder->calls.back(), "stop") << "no exit while the files are being finished";
    recorder->holdStop = false;
    ASSERT_TRUE(waitUntil([&] { return recorder->calls.back() == "terminate"; }, 10s));
    EXPECT_EQ(recorder->calls[recorder->calls.size() - 2], "stopped");
    EXPECT_EQ(model->state(), State::idle);

    // Even a failed stop ends the process; an idle one ends at once.
    startRecording();
    recorder->stopThrows = [] { throw std::runtime_error("disk gone"); };
    model->quitApp();
    ASSERT_TRUE(waitUntil([&] { return recorder->calls.back() == "terminate"; }, 10s));
    EXPECT_EQ(model->state(), State::recording);
}

TEST_F(MenuBarViewModelTest, TheShortcutMatchesExactlyAndWaitsOutAStartInFlight) {
    // Caps lock does not count; the letter's case does not either; an extra shift does.
    keys->send(keyDown("r", kCtrlAlt | NSEventModifierFlags::shift));
    keys->send(keyDown("r", NSEventModifierFlags::control));
    keys->send(keyDown("t", kCtrlAlt));
    runMainLoopFor(50ms);
    EXPECT_EQ(model->state(), State::idle);
    keys->send(keyDown("R", kCtrlAlt | kCapsLock));
    ASSERT_TRUE(reach(State::standby));

    // Once the countdown is over, the start is not taken back by the shortcut.
    recorder->holdStart = true;
    finishCountdown();
    keys->send(keyDown("r", kCtrlAlt));
    runMainLoopFor(50ms);
    EXPECT_EQ(model->state(), State::standby);
    EXPECT_TRUE(barOpen());
    recorder->holdStart = false;
    ASSERT_TRUE(reach(State::recording));
    EXPECT_EQ(std::count(recorder->calls.begin(), recorder->calls.end(), "cancel"), 0);

    // A changed shortcut counts at the next key, without reinstalling anything.
    settings->setRecordingShortcutKey("s");
    settings->setRecordingShortcutModifiersRaw(NSEventModifierFlags::command);
    keys->send(keyDown("s", NSEventModifierFlags::command));
    ASSERT_TRUE(reach(State::idle));

    // While the checks wait on an alert, a second press starts no second walk.
    screen->granted = false;
    keys->send(keyDown("s", NSEventModifierFlags::command));
    ASSERT_TRUE(waitUntil([&] { return alerts->waiting; }, 10s));
    keys->send(keyDown("s", NSEventModifierFlags::command));
    runMainLoopFor(50ms);
    EXPECT_EQ(alerts->shown.size(), 1u);
    alerts->responses = {kAlertFirstButtonReturn + 1};
    EXPECT_TRUE(waitUntil([&] { return !alerts->waiting; }, 10s));
}
