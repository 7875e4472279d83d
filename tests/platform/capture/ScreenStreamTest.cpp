// The stream over a service that stands in for the display server: pacing at
// the configured rate with host-clock stamps, skipping rather than queueing
// behind a slow output, outputs that go away, the audio path and sound that
// fails without taking the picture with it, and ends by itself.
#include "platform/capture/ScreenStream.h"

#include "tests/support/TestServices.h"

#include <QCoro/QCoroTask>
#include <cmath>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

struct SourceState {
    std::atomic<int> grabs{0};
    std::atomic<int> loseAtGrab{-1};
    std::atomic<bool> noFreeBuffer{false};
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
                                                       NSError&) override {
        return std::make_unique<FakeFrames>(state);
    }
    bool noSoundServer = false;
    std::unique_ptr<AudioSampleSource> makeSystemAudioSource(const SCStreamConfiguration&,
                                                             NSError& error) override {
        if (noSoundServer) {
            error.localizedDescription = "no sound server";
            return nullptr;
        }
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
    void streamDidStopWithError(SCStream&, const NSError& error) override {
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

    // A tick without a free buffer is skipped too, and nothing empty is delivered.
    service->state->noFreeBuffer = true;
    auto none = std::make_shared<Recorder>();
    SCStream starved(anyDisplay(), sixtyHertz(), delegate);
    ASSERT_TRUE(starved.addStreamOutput(none, SCStreamOutputType::screen, &queue, nullptr));
    ASSERT_EQ(run(starved.startCapture()), std::nullopt);
    ASSERT_TRUE(test::waitUntil([&] { return starved.framesSkipped() >= 5; }, 3s));
    ASSERT_EQ(run(starved.stopCapture()), std::nullopt);
    queue.sync([] {});
    EXPECT_EQ(none->count(SCStreamOutputType::screen), 0u);
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

TEST_F(ScreenStreamTest, SoundThatEndsOrNeverStartsLeavesThePictureRunning) {
    for (const bool serverMissing : {false, true}) {
        SCOPED_TRACE(serverMissing);
        service->noSoundServer = serverMissing;
        auto pictures = std::make_shared<Recorder>();
        SCStream stream(anyDisplay(), sixtyHertz(true), delegate);
        ASSERT_TRUE(stream.addStreamOutput(pictures, SCStreamOutputType::screen, &queue, nullptr));
        ASSERT_EQ(run(stream.startCapture()), std::nullopt);
        if (!serverMissing) service->audio->end();
        test::runMainLoopFor(100ms);
        queue.sync([] {});
        const size_t framesThen = pictures->count(SCStreamOutputType::screen);
        ASSERT_TRUE(test::waitUntil([&] { return pictures->count(SCStreamOutputType::screen) > framesThen + 3; }, 3s));
        EXPECT_TRUE(stream.isRunning());
        EXPECT_TRUE(delegate->errors.empty());
        ASSERT_EQ(run(stream.stopCapture()), std::nullopt);
    }
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
