// The recorder as the countdown drives it: a cancel or a start while the
// preparation is under way, our process left out of the picture, the
// "Continue Without It" closures, a start taken back after the microphone
// failed. Real stream and writers over a capture service of the test's own.
#include "recording/ScreenRecorder.h"

#include "FakeCapture.h"
#include "platform/displays/DisplayList.h"
#include "platform/permissions/PrivacyAccess.h"
#include "settings/AppSettings.h"
#include "tests/support/TestServices.h"

#include <future>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

class ScreenRecorderFlowTest : public ::testing::Test {
protected:
    void SetUp() override {
        qtApp();
        displays->setMonitors({{"DP-1", "", CGRect{{0, 0}, {640, 360}}, true}});
        DisplayList::setShared(displays);
        auto screenAccess = std::make_shared<ScreenCaptureAccessFake>();
        screenAccess->granted = true;
        ScreenCaptureAccess::setShared(screenAccess);
        ScreenCaptureService::setShared(capture);
        CaptureDeviceList::setShared(AVMediaType::audio, mics);
        fs::create_directories(out);
        fakes->documents = fakes->snapshot.saveDirectoryURL = URL{out};
        fakes->snapshot.selectedDisplayID = displayIDForMonitorName("DP-1");
        fakes->snapshot.openFinderAfterRecording = fakes->snapshot.enableSystemAudio = false;
    }
    void TearDown() override {
        if (recorder && recorder->isCurrentlyRecording()) wait(recorder->stopRecording());
        if (recorder) wait(recorder->cancelPreparedRecording());
        recorder.reset();
        ScreenCaptureService::setShared(nullptr);
        DisplayList::setShared(nullptr);
        CaptureDeviceList::setShared(AVMediaType::video, nullptr);
        AppSettings::setShared(nullptr);
    }
    void makeRecorder(std::shared_ptr<AppSettingsProvider> settings = nullptr) {
        recorder = ScreenRecorder::create(settings ? settings : fakes, fakes, fakes);
    }
    size_t filesWritten() const {
        return size_t(std::distance(fs::directory_iterator(out), fs::directory_iterator()));
    }

    TempHome home;
    fs::path out = home.home() / "out";
    std::shared_ptr<DisplayListFake> displays = std::make_shared<DisplayListFake>();
    std::shared_ptr<FakeCaptureService> capture = std::make_shared<FakeCaptureService>();
    std::shared_ptr<CaptureDeviceListFake> mics = std::make_shared<CaptureDeviceListFake>();
    std::shared_ptr<RecorderFakes> fakes = std::make_shared<RecorderFakes>();
    std::shared_ptr<ScreenRecorder> recorder;
};

} // namespace

TEST_F(ScreenRecorderFlowTest, ACancelOrAStartDuringPreparationWaitsForItAndKeepsTheOrder) {
    makeRecorder();
    // The preparation returns to the main loop at its first slow step; what
    // follows here comes while it is under way, without any waiting.
    auto preparing = recorder->prepareRecording();
    ASSERT_FALSE(preparing.isReady());
    auto second = recorder->prepareRecording();
    EXPECT_TRUE(second.isReady()) << "a second preparation meanwhile is ignored";
    wait(recorder->cancelPreparedRecording());
    EXPECT_TRUE(preparing.isReady()) << "the cancel returns once the preparation is down";
    EXPECT_NO_THROW(wait(std::move(preparing)));
    EXPECT_FALSE(recorder->currentPipeline() || recorder->sessionStateSnapshot().preparedStreamContainer);
    EXPECT_EQ(filesWritten(), 0u);

    // The countdown ending before the preparation: the start takes what the
    // preparation builds instead of building a second stream.
    const int streamsBefore = capture->frameSourcesMade;
    preparing = recorder->prepareRecording();
    wait(recorder->startRecording());
    EXPECT_TRUE(recorder->isCurrentlyRecording());
    EXPECT_EQ(capture->frameSourcesMade, streamsBefore + 1);
    wait(std::move(preparing));
    EXPECT_NO_THROW(wait(recorder->stopRecording()));
}

TEST_F(ScreenRecorderFlowTest, OurProcessIsLeftOutEvenWithoutAWindowUnlessTheUserAskedForIt) {
    makeRecorder();
    capture->runningApplications = {{getpid() + 1, "them", {{12}}}};
    wait(recorder->prepareRecording());
    ASSERT_EQ(capture->lastFilterExcluded.size(), 1u);
    EXPECT_EQ(capture->lastFilterExcluded[0].processID, getpid());
    wait(recorder->cancelPreparedRecording());

    fakes->snapshot.includeAppInCapture = true;
    capture->runningApplications.push_back({getpid(), "us", {{11}}});
    wait(recorder->prepareRecording());
    EXPECT_TRUE(capture->lastFilterExcluded.empty());
}

TEST_F(ScreenRecorderFlowTest, ContinueWithoutItHasTurnedTheSettingOffWhenItReturns) {
    AppSettings::setShared(nullptr); // a fresh one, on this test's home
    const auto appSettings = AppSettings::shared();
    appSettings->setEnableMicAudio(true);
    appSettings->setShowWebcam(true);
    CaptureDeviceList::setShared(AVMediaType::video, std::make_shared<CaptureDeviceListFake>());
    makeRecorder(appSettings);

    // Microphone first, then the webcam: each closure is done before any
    // turn of the main loop, so the flow run again at once reads the new value.
    for (auto setting : {&AppSettings::enableMicAudio, &AppSettings::showWebcam}) {
        try {
            wait(recorder->prepareRecording());
            FAIL() << "no device alert";
        } catch (const ScreenRecorderError& error) {
            ASSERT_NE(error.context(), nullptr);
            auto turnedOff = error.context()->continueWithoutDevice();
            EXPECT_TRUE(turnedOff.isReady());
            EXPECT_FALSE(((*appSettings).*setting)());
        }
    }
    EXPECT_NO_THROW(recorder->validateDevices(appSettings->makeSnapshot()));
}

TEST_F(ScreenRecorderFlowTest, AStartTakenBackAfterTheMicrophoneFailedStopsTheWebcamItStarted) {
    ScopedEnv fakeCamera("VANTREL_FAKE_CAMERA", "320x240@15");
    CaptureDeviceList::setShared(AVMediaType::video, nullptr); // the fake camera's list
    makeRecorder();
    fakes->snapshot.showWebcam = true;
    fakes->snapshot.enableMicAudio = true;
    // Listed, but not on the sound server: the microphone cannot start.
    mics->setDevices({{"unplugged_mic", "USB", AVMediaType::audio, "unplugged_mic"}}, "unplugged_mic");

    // Hold the camera's queue, so that its start is still on the way while
    // the start is taken back, as with a slow camera.
    std::promise<void> release;
    recorder->cameraManager->captureQueue().async([gate = release.get_future().share()] { gate.wait(); });
    try {
        wait(recorder->startRecording());
        FAIL() << "no error for a microphone that cannot start";
    } catch (const ScreenRecorderError& error) {
        EXPECT_EQ(error.errorCase(), ScreenRecorderError::Case::microphoneNotFound);
    }
    const auto session = recorder->cameraManager->captureSession();
    ASSERT_TRUE(session) << "the webcam was started before the microphone";
    release.set_value();

    ASSERT_TRUE(waitUntil([&] { return !recorder->cameraManager->captureSession(); }, 5s));
    // The start's word to the main thread came before the stop's.
    EXPECT_FALSE(session->isRunning());
    EXPECT_FALSE(recorder->cameraManager->isCapturing());
    EXPECT_FALSE(recorder->isCurrentlyRecording());
}
