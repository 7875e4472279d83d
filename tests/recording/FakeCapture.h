#pragma once
// A capture service for recorder tests: a display that shows one colour and,
// when asked, a system sound source. The stream around it is the real one,
// and so are the writers, so the recorder is tested against real files.

#include "platform/capture/ScreenStream.h"
#include "recording/ScreenRecorder.h"

#include <QCoro/QCoroTask>
#include <atomic>
#include <chrono>
#include <exception>
#include <thread>

namespace vantrel::test {

class SolidFrameSource final : public ScreenFrameSource {
public:
    SolidFrameSource(int width, int height, const std::atomic<bool>& silent)
        : pool_(CVPixelBufferPool::create({2, kCVPixelFormatType_32BGRA, width, height})), silent_(silent) {}

    CVPixelBufferRef grabFrame(bool& lost, NSError&) override {
        lost = false;
        if (silent_.load()) return nullptr;
        auto frame = pool_->createPixelBuffer();
        if (!frame) return nullptr;
        for (int y = 0; y < frame->height(); ++y) {
            auto* row = reinterpret_cast<uint32_t*>(frame->row(y));
            std::fill(row, row + frame->width(), 0xff3060c0u);
        }
        return frame;
    }

private:
    CVPixelBufferPoolRef pool_;
    const std::atomic<bool>& silent_;
};

class FakeCaptureService final : public ScreenCaptureService {
public:
    /// While set, the display delivers nothing, so a test can feed the recorder by hand.
    std::atomic<bool> silent{false};
    std::atomic<int> frameSourcesMade{0};
    std::vector<SCRunningApplication> runningApplications;

    std::vector<SCRunningApplication> applications() override { return runningApplications; }
    std::unique_ptr<ScreenFrameSource> makeFrameSource(const SCContentFilter& filter,
                                                       const SCStreamConfiguration& configuration,
                                                       NSError&) override {
        ++frameSourcesMade;
        lastFilterExcluded = filter.excludedApplications();
        lastConfiguration = configuration;
        return std::make_unique<SolidFrameSource>(configuration.width, configuration.height, silent);
    }
    // The recorder tests feed system audio by hand.
    std::unique_ptr<AudioSampleSource> makeSystemAudioSource(const SCStreamConfiguration&, NSError&) override {
        return std::make_unique<QuietSource>();
    }
    std::vector<SCRunningApplication> lastFilterExcluded;
    SCStreamConfiguration lastConfiguration;

    /// A sound source that starts and never says a thing, or that goes away
    /// right after it started, as an unplugged microphone does.
    class QuietSource final : public AudioSampleSource {
    public:
        explicit QuietSource(bool goesAway = false) : goesAway_(goesAway) {}
        ~QuietSource() override { stop(); }
        bool start(SampleHandler, EndHandler onEnd, NSError&) override {
            if (goesAway_)
                reporter_ = std::thread([onEnd] {
                    std::this_thread::sleep_for(std::chrono::milliseconds(50));
                    onEnd(NSError{"The source went away"}, true);
                });
            return true;
        }
        void stop() override {
            if (reporter_.joinable()) reporter_.join();
        }

    private:
        bool goesAway_;
        std::thread reporter_;
    };
};

/// The recorder's settings, permissions and default folder, as the test sets them.
struct RecorderFakes final : AppSettingsProvider, PermissionsProvider, BookmarkProvider {
    AppSettingsSnapshot snapshot;
    URL documents;
    AppSettingsSnapshot makeSnapshot() override { return snapshot; }
    bool checkAllPermissions() override { return true; }
    bool requestScreenRecordingPermission() override { return true; }
    bool requestAccessibilityPermission() override { return true; }
    QCoro::Task<bool> requestCameraPermission() override { co_return true; }
    URL getDefaultDirectoryURL() override { return documents; }
};

/// Runs the main loop until the task ends, and throws what it threw. QCoro's
/// own waitFor never returns from a task that throws, so the catching
/// happens in a task of its own.
inline void wait(QCoro::Task<>&& task) {
    std::exception_ptr error;
    QCoro::waitFor([](QCoro::Task<> task, std::exception_ptr& error) -> QCoro::Task<> {
        try {
            co_await std::move(task);
        } catch (...) {
            error = std::current_exception();
        }
    }(std::move(task), error));
    if (error) std::rethrow_exception(error);
}

} // namespace vantrel::test
