// The stream over a service that stands in for the display server: outputs
// and their rules, starting and stopping, pacing at the configured rate with
// host-clock stamps, skipping rather than queueing behind a slow output, the
// audio path, and the end reported when the display goes away.
#include "platform/capture/ScreenStream.h"

#include "tests/support/TestServices.h"

#include <QCoro/QCoroTask>
#include <QThread>
#include <cmath>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

struct SourceState {
    std::mutex mutex;
    std::vector<CMTime> grabTimes;
    std::atomic<int> grabs{0};
    std::atomic<int> loseAtGrab{-1};
    std::atomic<bool> noFreeBuffer{false};
    std::atomic<bool> failOpen{false};
    std::chrono::milliseconds grabCost{0};
    CVPixelBufferPoolRef pool = CVPixelBufferPool::create({0, kCVPixelFormatType_32BGRA, 64, 36});
};

class FakeFrames final : public ScreenFrameSource {
public:
    explicit FakeFrames(std::shared_ptr<SourceState> state) : state_(std::move(state)) {}
    CVPixelBufferRef grabFrame(bool& lost, NSError& error) override {
        const int n = ++state_->grabs;
        if (state_->loseAtGrab.load() >= 0 && n >= state_->loseAtGrab.load()) {
            lost = true;
            error.localizedDescription = "display gone";
            return nullptr;
        }
        {
            std::lock_guard lock(state_->mutex);
            state_->grabTimes.push_back(CMClockGetHostTime());
        }
        if (state_->grabCost.count()) std::this_thread::sleep_for(state_->grabCost);
        if (state_->noFreeBuffer.load()) return nullptr;
        return state_->pool->createPixelBuffer();
    }

private:
    std::shared_ptr<SourceState> state_;
};

class FakeAudio final : public AudioSampleSource {
public:
    bool start(SampleHandler onSample, EndHandler onEnd, NSError&) override {
        onEnd_ = std::move(onEnd);
        thread_ = std::thread([this, onSample = std::move(onSample)] {
            for (int i = 0; i < 5 && !stop_.load(); ++i) {
                onSample(CMSampleBuffer::makeAudio(
                    {48000, 2}, std::vector<float>(960, 0.25f),
                    {{CMTime(480, 48000), CMClockGetHostTime(), CMTime::invalid()}}));
                std::this_thread::sleep_for(5ms);
            }
        });
        return true;
    }
    void stop() override {
        stop_.store(true);
        if (thread_.joinable()) thread_.join();
        stopped = true;
    }
    void end() { onEnd_({"audio device gone"}, true); }
    ~FakeAudio() override { stop(); }
    std::atomic<bool> stop_{false};
    bool stopped = false;
    EndHandler onEnd_;
    std::thread thread_;
};

class FakeService final : public ScreenCaptureService {
public:
    std::shared_ptr<SourceState> state = std::make_shared<SourceState>();
    FakeAudio* audio = nullptr;
    std::vector<SCRunningApplication> applications() override { return {}; }
    std::unique_ptr<ScreenFrameSource> makeFrameSource(const SCContentFilter&, const SCStreamConfiguration&,
                                                       NSError& error) override {
        if (state->failOpen.load()) {
            error.localizedDescription = "cannot open";
            return nullptr;
        }
        return std::make_unique<FakeFrames>(state);
    }
    std::unique_ptr<AudioSampleSource> makeSystemAudioSource(const SCStreamConfiguration&,
                                                             NSError&) override {
        auto source = std::make_unique<FakeAudio>();
        audio = source.get();
        return source;
    }
};

struct Received {
    CMTime pts;
    CMTime arrival;
    SCStreamOutputType type;
};

class Recorder final : public SCStreamOutput {
public:
    std::chrono::milliseconds delay{0};
    std::mutex mutex;
    std::vector<Received> samples;

    void streamDidOutputSampleBuffer(SCStream&, const CMSampleBufferRef& sample,
                                     SCStreamOutputType type) override {
        {
            std::lock_guard lock(mutex);
            samples.push_back({sample->presentationTimeStamp(), CMClockGetHostTime(), type});
        }
        if (delay.count()) std::this_thread::sleep_for(delay);
    }
    size_t count(SCStreamOutputType type) {
        std::lock_guard lock(mutex);
        return std::count_if(samples.begin(), samples.end(),
                             [type](const Received& r) { return r.type == type; });
    }
    std::vector<Received> copy() {
        std::lock_guard lock(mutex);
        return samples;
    }
};

class Delegate final : public SCStreamDelegate {
public:
    std::vector<std::string> errors;
    bool onMainThread = false;
    void streamDidStopWithError(SCStream&, const NSError& error) override {
        onMainThread = QThread::currentThread() == test::qtApp().thread();
        errors.push_back(error.localizedDescription);
    }
};

// The error text when the task throws, nothing when it succeeds.
std::optional<std::string> run(QCoro::Task<> task) {
    return QCoro::waitFor([](QCoro::Task<> t) -> QCoro::Task<std::optional<std::string>> {
        try {
            co_await std::move(t);
        } catch (const SCStreamException& e) {
            co_return e.error.localizedDescription;
        }
        co_return std::nullopt;
    }(std::move(task)));
}

SCStreamConfiguration sixtyHertz(bool audio = false) {
    SCStreamConfiguration configuration;
    configuration.minimumFrameInterval = CMTime(1, 60);
    configuration.capturesAudio = audio;
    return configuration;
}

SCContentFilter anyDisplay() {
    return SCContentFilter(SCDisplay{1, 64, 36, CGRect(0, 0, 64, 36)}, {}, {});
}

class ScreenStreamTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::qtApp();
        ScreenCaptureService::setShared(service);
    }
    void TearDown() override { ScreenCaptureService::setShared(nullptr); }

    std::shared_ptr<FakeService> service = std::make_shared<FakeService>();
    DispatchQueue queue{"com.vantrel.test-output", DispatchQoS::userInitiated};
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
};

} // namespace

TEST_F(ScreenStreamTest, OutputsAreOnePerTypeAndAudioOnlyWhenCaptured) {
    SCStream stream(anyDisplay(), sixtyHertz(), delegate);
    NSError error;
    EXPECT_FALSE(stream.addStreamOutput(recorder, SCStreamOutputType::audio, &queue, &error));
    EXPECT_FALSE(error.localizedDescription.empty());
    EXPECT_TRUE(stream.addStreamOutput(recorder, SCStreamOutputType::screen, &queue, &error));
    auto other = std::make_shared<Recorder>();
    EXPECT_FALSE(stream.addStreamOutput(other, SCStreamOutputType::screen, &queue, &error));

    error = {};
    EXPECT_FALSE(stream.removeStreamOutput(other, SCStreamOutputType::screen, &error));
    EXPECT_FALSE(error.localizedDescription.empty());
    EXPECT_TRUE(stream.removeStreamOutput(recorder, SCStreamOutputType::screen, &error));
    EXPECT_FALSE(stream.removeStreamOutput(recorder, SCStreamOutputType::screen, &error));
    // The slot is free again.
    EXPECT_TRUE(stream.addStreamOutput(other, SCStreamOutputType::screen, &queue, &error));
}

TEST_F(ScreenStreamTest, StopWhenNotRunningThrowsAndStartFailuresCarryTheReason) {
    SCStream stream(anyDisplay(), sixtyHertz(), delegate);
    EXPECT_TRUE(run(stream.stopCapture()).has_value());
    service->state->failOpen = true;
    EXPECT_EQ(run(stream.startCapture()), std::optional<std::string>("cannot open"));
    EXPECT_FALSE(stream.isRunning());

    service->state->failOpen = false;
    EXPECT_EQ(run(stream.startCapture()), std::nullopt);
    EXPECT_TRUE(stream.isRunning());
    EXPECT_TRUE(run(stream.startCapture()).has_value()) << "a second start must be refused";
    EXPECT_EQ(run(stream.stopCapture()), std::nullopt);
    EXPECT_FALSE(stream.isRunning());
    EXPECT_TRUE(run(stream.stopCapture()).has_value());
}

TEST_F(ScreenStreamTest, PacesAtTheFrameIntervalWithHostTimesOfTheGrab) {
    // A grab that takes time must not push the ticks back.
    service->state->grabCost = 4ms;
    SCStream stream(anyDisplay(), sixtyHertz(), delegate);
    ASSERT_TRUE(stream.addStreamOutput(recorder, SCStreamOutputType::screen, &queue, nullptr));
    ASSERT_EQ(run(stream.startCapture()), std::nullopt);
    std::this_thread::sleep_for(1s);
    ASSERT_EQ(run(stream.stopCapture()), std::nullopt);
    queue.sync([] {});

    const auto samples = recorder->copy();
    const int grabs = service->state->grabs.load();
    // At most one frame per tick. Were the 4 ms of each grab added to the
    // interval, there would be no more than 48.
    EXPECT_LE(grabs, 62);
    EXPECT_GE(grabs, 54);
    EXPECT_EQ(samples.size(), static_cast<size_t>(grabs));
    EXPECT_EQ(stream.framesDelivered(), static_cast<uint64_t>(grabs));

    std::vector<CMTime> grabTimes;
    {
        std::lock_guard lock(service->state->mutex);
        grabTimes = service->state->grabTimes;
    }
    ASSERT_EQ(grabTimes.size(), samples.size());
    int offGrid = 0;
    for (size_t i = 0; i < samples.size(); ++i) {
        // Stamped just before the grab, on the same clock.
        const double lead = (grabTimes[i] - samples[i].pts).seconds();
        EXPECT_GE(lead, 0.0) << "frame " << i;
        EXPECT_LT(lead, 0.002) << "frame " << i;
        if (i > 0) {
            EXPECT_GT(samples[i].pts, samples[i - 1].pts);
        }
        // Steady ticks: frames lie on the grid of the first however long the
        // run, but for the odd late wake-up on a busy machine.
        const double sinceFirst = (samples[i].pts - samples[0].pts).seconds();
        if (std::abs(sinceFirst - std::round(sinceFirst * 60) / 60) > 0.004) ++offGrid;
    }
    EXPECT_LE(offGrid, grabs / 10);
}

TEST_F(ScreenStreamTest, ASlowOutputCostsFramesNotLatency) {
    auto configuration = sixtyHertz();
    configuration.queueDepth = 2;
    SCStream stream(anyDisplay(), configuration, delegate);
    recorder->delay = 100ms;
    ASSERT_TRUE(stream.addStreamOutput(recorder, SCStreamOutputType::screen, &queue, nullptr));
    ASSERT_EQ(run(stream.startCapture()), std::nullopt);
    std::this_thread::sleep_for(1s);
    ASSERT_EQ(run(stream.stopCapture()), std::nullopt);
    const size_t handledAtStop = recorder->count(SCStreamOutputType::screen);
    queue.sync([] {});

    EXPECT_GT(stream.framesSkipped(), 30u);
    // What was still on its way when the stream stopped: at most queueDepth.
    EXPECT_LE(recorder->count(SCStreamOutputType::screen) - handledAtStop, 2u);
    EXPECT_EQ(stream.framesDelivered(), recorder->count(SCStreamOutputType::screen));
    // No frame waited behind a backlog: at most queueDepth handlers ahead of it.
    for (const auto& sample : recorder->copy())
        EXPECT_LT((sample.arrival - sample.pts).seconds(), 0.35);
}

TEST_F(ScreenStreamTest, ATickWithoutAFreeBufferIsSkipped) {
    service->state->noFreeBuffer = true;
    SCStream stream(anyDisplay(), sixtyHertz(), delegate);
    ASSERT_TRUE(stream.addStreamOutput(recorder, SCStreamOutputType::screen, &queue, nullptr));
    ASSERT_EQ(run(stream.startCapture()), std::nullopt);
    std::this_thread::sleep_for(200ms);
    ASSERT_EQ(run(stream.stopCapture()), std::nullopt);
    queue.sync([] {});
    EXPECT_EQ(recorder->count(SCStreamOutputType::screen), 0u);
    EXPECT_EQ(stream.framesDelivered(), 0u);
    EXPECT_GE(stream.framesSkipped(), 5u);
}

TEST_F(ScreenStreamTest, RemovedOrDestroyedOutputsGetNothingMore) {
    SCStream stream(anyDisplay(), sixtyHertz(), delegate);
    ASSERT_TRUE(stream.addStreamOutput(recorder, SCStreamOutputType::screen, &queue, nullptr));
    ASSERT_EQ(run(stream.startCapture()), std::nullopt);
    std::this_thread::sleep_for(150ms);
    ASSERT_TRUE(stream.removeStreamOutput(recorder, SCStreamOutputType::screen, nullptr));
    queue.sync([] {});
    const size_t atRemoval = recorder->count(SCStreamOutputType::screen);
    EXPECT_GT(atRemoval, 0u);
    std::this_thread::sleep_for(150ms);
    queue.sync([] {});
    EXPECT_EQ(recorder->count(SCStreamOutputType::screen), atRemoval);

    // An output that is gone is skipped without harm.
    auto shortLived = std::make_shared<Recorder>();
    ASSERT_TRUE(stream.addStreamOutput(shortLived, SCStreamOutputType::screen, &queue, nullptr));
    shortLived.reset();
    std::this_thread::sleep_for(100ms);
    ASSERT_EQ(run(stream.stopCapture()), std::nullopt);
    // Once stopped, the source is not asked again.
    const int grabsAtStop = service->state->grabs.load();
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(service->state->grabs.load(), grabsAtStop);
}

TEST_F(ScreenStreamTest, SystemAudioReachesTheAudioOutputAndStopsWithTheStream) {
    SCStream stream(anyDisplay(), sixtyHertz(true), delegate);
    auto audioRecorder = std::make_shared<Recorder>();
    DispatchQueue audioQueue("com.vantrel.test-audio", DispatchQoS::userInitiated);
    ASSERT_TRUE(stream.addStreamOutput(audioRecorder, SCStreamOutputType::audio, &audioQueue, nullptr));
    ASSERT_EQ(run(stream.startCapture()), std::nullopt);
    ASSERT_NE(service->audio, nullptr);
    std::this_thread::sleep_for(100ms);
    ASSERT_EQ(run(stream.stopCapture()), std::nullopt);
    audioQueue.sync([] {});
    EXPECT_EQ(audioRecorder->count(SCStreamOutputType::audio), 5u);
    EXPECT_EQ(audioRecorder->count(SCStreamOutputType::screen), 0u);
}

TEST_F(ScreenStreamTest, ALostDisplayStopsTheStreamAndTellsTheDelegateOnTheMainThread) {
    service->state->loseAtGrab = 10;
    SCStream stream(anyDisplay(), sixtyHertz(), delegate);
    ASSERT_TRUE(stream.addStreamOutput(recorder, SCStreamOutputType::screen, &queue, nullptr));
    ASSERT_EQ(run(stream.startCapture()), std::nullopt);
    ASSERT_TRUE(test::waitUntil([&] { return !delegate->errors.empty(); }, 3s));
    EXPECT_EQ(delegate->errors, std::vector<std::string>{"display gone"});
    EXPECT_TRUE(delegate->onMainThread);
    EXPECT_FALSE(stream.isRunning());
    EXPECT_EQ(service->state->grabs.load(), 10);
    EXPECT_TRUE(run(stream.stopCapture()).has_value());
    test::runMainLoopFor(100ms);
    EXPECT_EQ(delegate->errors.size(), 1u);
}

TEST_F(ScreenStreamTest, AStreamThatEndedByItselfCanStartAgain) {
    service->state->loseAtGrab = 3;
    SCStream stream(anyDisplay(), sixtyHertz(), delegate);
    ASSERT_TRUE(stream.addStreamOutput(recorder, SCStreamOutputType::screen, &queue, nullptr));
    ASSERT_EQ(run(stream.startCapture()), std::nullopt);
    // Started again before the main thread has heard of the end: the main
    // loop does not run while waiting here.
    for (int i = 0; i < 3000 && stream.isRunning(); ++i)
        std::this_thread::sleep_for(1ms);
    ASSERT_FALSE(stream.isRunning());
    service->state->loseAtGrab = -1;
    ASSERT_EQ(run(stream.startCapture()), std::nullopt);
    test::runMainLoopFor(200ms);
    EXPECT_TRUE(stream.isRunning()) << "the notice of the first run must not stop the second";
    EXPECT_TRUE(delegate->errors.empty());
    ASSERT_EQ(run(stream.stopCapture()), std::nullopt);
    queue.sync([] {});
    EXPECT_GT(recorder->count(SCStreamOutputType::screen), 5u);
}

TEST_F(ScreenStreamTest, AnAudioSourceThatEndsStopsTheStreamOnce) {
    SCStream stream(anyDisplay(), sixtyHertz(true), delegate);
    ASSERT_EQ(run(stream.startCapture()), std::nullopt);
    ASSERT_NE(service->audio, nullptr);
    service->audio->end();
    ASSERT_TRUE(test::waitUntil([&] { return !delegate->errors.empty(); }, 3s));
    EXPECT_EQ(delegate->errors, std::vector<std::string>{"audio device gone"});
    EXPECT_FALSE(stream.isRunning());
    test::runMainLoopFor(100ms);
    EXPECT_EQ(delegate->errors.size(), 1u);
}

TEST_F(ScreenStreamTest, DestroyingARunningStreamStopsItAndSilencesLateNotices) {
    service->state->loseAtGrab = 3;
    {
        SCStream stream(anyDisplay(), sixtyHertz(), delegate);
        ASSERT_EQ(run(stream.startCapture()), std::nullopt);
        std::this_thread::sleep_for(100ms); // lost, with the notice still queued for the main thread
    }
    test::runMainLoopFor(100ms);
    EXPECT_TRUE(delegate->errors.empty());
}
