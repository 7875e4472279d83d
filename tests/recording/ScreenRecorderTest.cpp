// The recorder's session rules and time model, against the real stream,
// writers and files, with a capture service, devices and settings of the
// test's own.
#include "recording/ScreenRecorder.h"

#include "FakeCapture.h"
#include "platform/displays/DisplayList.h"
#include "platform/displays/Displays.h"
#include "platform/permissions/PrivacyAccess.h"
#include "settings/AppSettings.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TestServices.h"

#include <QCoro/QCoroTask>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

class ScreenRecorderTest : public ::testing::Test {
protected:
    void SetUp() override {
        qtApp();
        displays->setMonitors({{"DP-1", "", CGRect{{0, 0}, {640, 360}}, true},
                               {"HDMI-1", "", CGRect{{640, 0}, {320, 240}}, false}});
        DisplayList::setShared(displays);
        screenAccess->granted = true;
        ScreenCaptureAccess::setShared(screenAccess);
        trust->trusted = true;
        AccessibilityTrust::setShared(trust);
        ScreenCaptureService::setShared(capture);
        // A source the test sound server has, so that the input opens; what
        // it records comes from the source factory below.
        mics->setDevices({{"virtual_mic", "Desk microphone", AVMediaType::audio, "virtual_mic"}}, "virtual_mic");
        CaptureDeviceList::setShared(AVMediaType::audio, mics);
        CaptureDeviceList::setShared(AVMediaType::video, cameras);
        AVCaptureAudioSession::setSourceFactory([this](const AVCaptureDevice&) {
            return std::make_unique<FakeCaptureService::QuietSource>(micGoesAway);
        });

        out = home.home() / "out";
        fs::create_directories(out);
        fakes->documents = URL{home.home() / "Documents"};
        fs::create_directories(fakes->documents.path);
        fakes->snapshot.saveDirectoryURL = URL{out};
        fakes->snapshot.selectedDisplayID = displayIDForMonitorName("DP-1");
        fakes->snapshot.openFinderAfterRecording = false;
        recorder = ScreenRecorder::create(fakes, fakes, fakes);
    }

    void TearDown() override {
        if (recorder->isCurrentlyRecording()) wait(recorder->stopRecording());
        wait(recorder->cancelPreparedRecording());
        recorder.reset();
        AVCaptureAudioSession::setSourceFactory({});
        ScreenCaptureService::setShared(nullptr);
        DisplayList::setShared(nullptr);
    }

    std::vector<fs::path> filesIn(const fs::path& folder) const {
        std::vector<fs::path> found;
        for (const auto& entry : fs::directory_iterator(folder))
            if (entry.is_regular_file()) found.push_back(entry.path());
        return found;
    }

    /// Hands a sample to the recorder on its sample queue, once the video
    /// inputs can take it, as the stream would. Frames come at a stream's
    /// pace, 30 a second: an encoder kept full for half a second halves the
    /// rate it takes, and a 640x360 x265 encoder does several times 30 fps
    /// even on a loaded machine.
    void feed(const CMSampleBufferRef& sample, SCStreamOutputType type) {
        if (auto pipeline = recorder->currentPipeline(); pipeline && type == SCStreamOutputType::screen) {
            std::this_thread::sleep_for(33ms);
            for (const auto& input : {pipeline->zoomedVideoInput, pipeline->fullVideoInput})
                while (input && !input->isReadyForMoreMediaData())
                    std::this_thread::sleep_for(2ms);
        }
        recorder->outputQueue->sync([&] { recorder->handleStreamSample(sample, type); });
    }

    // Each frame a shade of its own (two steps apart, which 4:2:0 keeps
    // apart): repeats of one picture would share a sample.
    CMSampleBufferRef frameAt(CMTime time) {
        auto picture = CVPixelBuffer::create(640, 360);
        std::memset(picture->baseAddress(), 0x20 + 2 * (frameShade_++ % 96), picture->bytesPerRow() * 360);
        return CMSampleBuffer::makeVideo(picture, time);
    }

    static CMSampleBufferRef soundAt(CMTime time, double seconds = 0.02) {
        const size_t frames = size_t(48000 * seconds);
        return CMSampleBuffer::makeAudio({48000, 2}, std::vector<float>(frames * 2, 0.1f),
                                         {{CMTimeMake(int64_t(frames), 48000), time, CMTime::invalid()}});
    }

    int frameShade_ = 0;
    TempHome home;
    fs::path out;
    std::shared_ptr<DisplayListFake> displays = std::make_shared<DisplayListFake>();
    std::shared_ptr<ScreenCaptureAccessFake> screenAccess = std::make_shared<ScreenCaptureAccessFake>();
    std::shared_ptr<AccessibilityTrustFake> trust = std::make_shared<AccessibilityTrustFake>();
    std::shared_ptr<FakeCaptureService> capture = std::make_shared<FakeCaptureService>();
    std::shared_ptr<CaptureDeviceListFake> mics = std::make_shared<CaptureDeviceListFake>();
    std::shared_ptr<CaptureDeviceListFake> cameras = std::make_shared<CaptureDeviceListFake>();
    std::shared_ptr<RecorderFakes> fakes = std::make_shared<RecorderFakes>();
    bool micGoesAway = false;
    std::shared_ptr<ScreenRecorder> recorder;
};

} // namespace

TEST_F(ScreenRecorderTest, PreparationRunsTheStreamWhileIdleAndKeepsItsSnapshot) {
    const auto fresh = recorder->sessionStateSnapshot();
    EXPECT_EQ(fresh.recordingState, RecordingState::idle);
    EXPECT_EQ(fresh.totalPausedDuration, CMTime::zero());
    EXPECT_FALSE(fresh.pipeline || fresh.preparedStreamContainer || fresh.activeStreamContainer);

    fakes->snapshot.enableMicAudio = true;
    wait(recorder->prepareRecording());
    const auto prepared = recorder->sessionStateSnapshot();
    ASSERT_TRUE(prepared.preparedStreamContainer && prepared.pipeline);
    EXPECT_EQ(prepared.recordingState, RecordingState::idle);
    EXPECT_TRUE(prepared.preparedStreamContainer->stream->isRunning());

    // A second preparation, a stop, a pause: all ignored while idle.
    fakes->snapshot.enableMicAudio = false;
    wait(recorder->prepareRecording());
    wait(recorder->stopRecording());
    recorder->pause();
    EXPECT_EQ(recorder->currentPipeline(), prepared.pipeline);
    EXPECT_FALSE(recorder->isPaused());
    EXPECT_TRUE(prepared.preparedStreamContainer->stream->isRunning());

    // The countdown's samples were discarded; the microphone of the
    // preparation's snapshot starts although the setting went off meanwhile.
    wait(recorder->startRecording());
    EXPECT_TRUE(recorder->isCurrentlyRecording());
    EXPECT_TRUE(recorder->micCaptureSession);
    EXPECT_FALSE(recorder->sessionStateSnapshot().preparedStreamContainer);
    wait(recorder->startRecording()); // a second start changes nothing
    EXPECT_EQ(recorder->currentPipeline(), prepared.pipeline);

    waitUntil([&] { return prepared.pipeline->zoomedVideoInput->appendedCount() > 5; }, 5s);
    wait(recorder->stopRecording());
    EXPECT_FALSE(recorder->isCurrentlyRecording());
    EXPECT_FALSE(recorder->sessionStateSnapshot().isStopTriggeredByFailure);
    EXPECT_FALSE(prepared.preparedStreamContainer->stream->isRunning());
    // The snapshot of preparation: video, system audio, microphone.
    EXPECT_TRUE(prepared.pipeline->settings.enableMicAudio);
    const auto files = filesIn(out);
    ASSERT_EQ(files.size(), 1u);
    const auto probe = probeFile(files[0]);
    ASSERT_TRUE(probe.is_object());
    EXPECT_EQ(probe["streams"][0]["width"], 640); // the video track comes first
}

TEST_F(ScreenRecorderTest, NothingIsBuiltWithoutPermissionDisplayOrWritableFilesAndCancelLeavesNoFile) {
    screenAccess->granted = false;
    wait(recorder->startRecording());
    EXPECT_FALSE(recorder->isCurrentlyRecording());

    // Accessibility matters only for the overlays that read input.
    screenAccess->granted = true;
    trust->trusted = false;
    fakes->snapshot.showMouseClicks = true;
    wait(recorder->prepareRecording());
    EXPECT_FALSE(recorder->currentPipeline());
    fakes->snapshot.showMouseClicks = false;
    fakes->snapshot.enableAutoZoom = true;
    fakes->snapshot.saveFullScreenBackup = true;
    wait(recorder->prepareRecording());
    ASSERT_TRUE(recorder->currentPipeline());
    const auto stream = recorder->sessionStateSnapshot().preparedStreamContainer->stream;
    wait(recorder->cancelPreparedRecording());
    EXPECT_FALSE(stream->isRunning());
    EXPECT_FALSE(recorder->currentPipeline());

    displays->setMonitors({});
    wait(recorder->prepareRecording());
    EXPECT_FALSE(recorder->currentPipeline());
    EXPECT_EQ(capture->frameSourcesMade, 1);
    EXPECT_TRUE(filesIn(out).empty());

    // Started and stopped before the first picture: no file, and no claim of one.
    displays->setMonitors({{"DP-1", "", CGRect{{0, 0}, {640, 360}}, true}});
    capture->silent = true;
    wait(recorder->startRecording());
    ASSERT_TRUE(recorder->isCurrentlyRecording());
    testing::internal::CaptureStdout();
    wait(recorder->stopRecording());
    const std::string said = testing::internal::GetCapturedStdout();
    EXPECT_EQ(said.find("Recording saved successfully."), std::string::npos) << said;
    EXPECT_NE(said.find("no file was saved"), std::string::npos) << said;
    EXPECT_TRUE(filesIn(out).empty());
}

TEST_F(ScreenRecorderTest, AnUnpluggedDisplayIsReplacedByTheFirstWithItsSize) {
    fakes->snapshot.selectedDisplayID = displayIDForMonitorName("DP-9");
    fakes->snapshot.enableSystemAudio = false;
    wait(recorder->prepareRecording());
    ASSERT_TRUE(recorder->currentPipeline());
    EXPECT_EQ(capture->lastConfiguration.width, 640);
    EXPECT_EQ(capture->lastConfiguration.height, 360);
    EXPECT_FALSE(capture->lastConfiguration.capturesAudio);
    EXPECT_FALSE(recorder->currentPipeline()->zoomedSystemAudioInput);

    // The chosen one when it is there; our own process's windows left out.
    wait(recorder->cancelPreparedRecording());
    capture->runningApplications = {{getpid(), "us", {{11}}}, {getpid() + 1, "them", {{12}}}};
    fakes->snapshot.selectedDisplayID = displayIDForMonitorName("HDMI-1");
    wait(recorder->prepareRecording());
    EXPECT_EQ(capture->lastConfiguration.width, 320);
    ASSERT_EQ(capture->lastFilterExcluded.size(), 1u);
    EXPECT_EQ(capture->lastFilterExcluded[0].processID, getpid());
}

TEST_F(ScreenRecorderTest, MissingDevicesAreReportedMicrophoneFirstAndAMicThatCannotStartTakesItBack) {
    fakes->snapshot.enableMicAudio = true;
    fakes->snapshot.showWebcam = true;
    mics->setDevices({});
    try {
        wait(recorder->prepareRecording());
        FAIL() << "no error for a missing microphone";
    } catch (const ScreenRecorderError& error) {
        ASSERT_EQ(error.errorCase(), ScreenRecorderError::Case::deviceNotFound);
        EXPECT_EQ(error.localizedDescription(), "Microphone not found.\nRecord without microphone audio?");
    }
    // A stored microphone that is gone is fine while a default exists.
    mics->setDevices({{"usb-mic", "USB", AVMediaType::audio, "usb-mic"}}, "usb-mic");
    fakes->snapshot.selectedMicID = "gone-mic";
    try {
        recorder->validateDevices(fakes->snapshot);
        FAIL() << "no error for a missing webcam";
    } catch (const ScreenRecorderError& error) {
        EXPECT_EQ(error.localizedDescription(), "Webcam not found.\nRecord without webcam overlay?");
    }
    fakes->snapshot.showWebcam = false;
    EXPECT_NO_THROW(recorder->validateDevices(fakes->snapshot));
    EXPECT_FALSE(recorder->currentPipeline());

    // Listed, but gone from the server between the check and the start: the
    // recording is taken back, and the next one starts as if nothing happened.
    mics->setDevices({{"unplugged_mic", "USB", AVMediaType::audio, "unplugged_mic"}}, "unplugged_mic");
    fakes->snapshot.selectedMicID = "unplugged_mic";
    try {
        wait(recorder->startRecording());
        FAIL() << "no error for a microphone that cannot start";
    } catch (const ScreenRecorderError& error) {
        EXPECT_EQ(error.errorCase(), ScreenRecorderError::Case::microphoneNotFound);
    }
    EXPECT_FALSE(recorder->isCurrentlyRecording() || recorder->currentPipeline());
    EXPECT_TRUE(filesIn(out).empty());
    fakes->snapshot.enableMicAudio = false;
    wait(recorder->startRecording());
    EXPECT_TRUE(recorder->isCurrentlyRecording());
}

TEST_F(ScreenRecorderTest, PausesCloseUpInTheFileAndTheFirstStreamSampleStartsIt) {
    capture->silent = true;
    fakes->snapshot.saveFullScreenBackup = true;
    fakes->snapshot.enableMicAudio = true;
    wait(recorder->startRecording());
    ASSERT_TRUE(recorder->isCurrentlyRecording());
    const auto pipeline = recorder->currentPipeline();

    // A microphone sample before any stream sample cannot start the file.
    const CMTime start = CMClockGetHostTime();
    recorder->micCaptureQueue->sync([&] { recorder->handleMicSample(soundAt(start)); });
    EXPECT_EQ(pipeline->zoomedMicAudioInput->appendedCount(), 0u);
    EXPECT_FALSE(recorder->sessionStateSnapshot().sessionStartTime.isValid());

    // The first stream sample, here a sound, starts the session at its own time.
    feed(soundAt(start), SCStreamOutputType::audio);
    EXPECT_EQ(recorder->sessionStateSnapshot().sessionStartTime, start);
    for (int k = 0; k < 30; ++k)
        feed(frameAt(start + CMTimeMake(k, 30)), SCStreamOutputType::screen);
    // A late frame, from before the start, is dropped.
    feed(frameAt(start - CMTimeMake(1, 10)), SCStreamOutputType::screen);

    // A pause of two seconds: samples arriving meanwhile are discarded, and
    // what comes after is moved back by the pause.
    recorder->pause();
    feed(frameAt(start + CMTimeMake(40, 30)), SCStreamOutputType::screen);
    recorder->stateLock.withLock([](RecordingSessionState& s) {
        s.recordingState = RecordingState::recording;
        s.pauseStartTime = CMTime::invalid();
        s.totalPausedDuration = CMTimeMake(2, 1);
    });
    for (int k = 30; k < 60; ++k)
        feed(frameAt(start + CMTimeMake(2, 1) + CMTimeMake(k, 30)), SCStreamOutputType::screen);
    recorder->micCaptureQueue->sync(
        [&] { recorder->handleMicSample(soundAt(start + CMTimeMake(2, 1) + CMTimeMake(1, 2))); });
    EXPECT_EQ(pipeline->zoomedMicAudioInput->appendedCount(), 1u);
    EXPECT_EQ(pipeline->fullMicAudioInput->appendedCount(), 1u);
    wait(recorder->stopRecording());

    const auto files = filesIn(out);
    ASSERT_EQ(files.size(), 2u);
    for (const auto& file : files) {
        SCOPED_TRACE(file.string());
        std::vector<double> times;
        for (const auto& packet : probeVideoPackets(file))
            times.push_back(packet.ptsSeconds);
        std::sort(times.begin(), times.end());
        ASSERT_EQ(times.size(), 60u);
        for (int k = 0; k < 60; ++k)
            EXPECT_NEAR(times[size_t(k)], k / 30.0, 0.002) << "frame " << k;
    }
}

TEST_F(ScreenRecorderTest, AMicrophoneThatGoesAwayPausesTheRecordingUntilTheUserResumes) {
    fakes->snapshot.enableMicAudio = true;
    micGoesAway = true;
    wait(recorder->startRecording());
    ASSERT_TRUE(waitUntil([&] { return recorder->isPaused(); }, 3s));
    EXPECT_TRUE(recorder->isCurrentlyRecording());
    // The shell still thinks it records: its pause finds paused, its next request resumes.
    recorder->pause();
    EXPECT_TRUE(recorder->isPaused());
    recorder->resume();
    EXPECT_FALSE(recorder->isPaused());
    EXPECT_GT(recorder->sessionStateSnapshot().totalPausedDuration, CMTime::zero());
    wait(recorder->stopRecording());
    EXPECT_TRUE(recorder->micSessionObservers.empty());
    EXPECT_TRUE(waitUntil([&] { return !recorder->micCaptureSession; }, 2s));
}
