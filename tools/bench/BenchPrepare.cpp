// vantrel-bench-prepare: how long the main thread stands still while a
// recording is prepared behind the countdown. A timer ticks every 5 ms on the
// main thread, as the countdown bar's animation would need it to; the
// largest gap between two ticks during prepareRecording() is the stall a
// user would see; beside it, the largest gap over as long a stretch with
// nothing to do, which is what the machine's load alone costs. Each round
// prepares with the user's settings plus system audio, the microphone and
// the full-screen copy, then cancels; the first round is the one after
// start-up, when libraries and servers are cold.
//
//   scripts/with-test-services.sh build/release/bin/vantrel-bench-prepare [--rounds N] [--webcam]
#include "devices/DisplayManager.h"
#include "recording/BookmarkManager.h"
#include "recording/ScreenRecorder.h"
#include "settings/AppSettings.h"

#include <QCoreApplication>
#include <QCoro/QCoroTimer>
#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>

using namespace vantrel;

namespace {

constexpr int kTickMs = 5;

struct BenchSettings final : AppSettingsProvider {
    std::shared_ptr<AppSettingsProvider> user;
    std::filesystem::path out;
    bool webcam = false;
    AppSettingsSnapshot makeSnapshot() override {
        auto snapshot = user->makeSnapshot();
        snapshot.saveDirectoryURL = URL{out};
        snapshot.enableSystemAudio = true;
        snapshot.enableMicAudio = true;
        snapshot.saveFullScreenBackup = true;
        snapshot.showWebcam = webcam;
        snapshot.openFinderAfterRecording = false;
        return snapshot;
    }
};

/// Largest gap between two ticks of a 5 ms main-thread timer while it runs.
class StallMeter {
public:
    StallMeter() {
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.setInterval(kTickMs);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            worstMs_ = std::max(worstMs_, clock_.nsecsElapsed() / 1e6);
            clock_.restart();
        });
    }
    void start() {
        worstMs_ = 0;
        clock_.start();
        timer_.start();
    }
    double stop() {
        // The stretch since the last tick counts too.
        worstMs_ = std::max(worstMs_, clock_.nsecsElapsed() / 1e6);
        timer_.stop();
        return worstMs_;
    }

private:
    QTimer timer_;
    QElapsedTimer clock_;
    double worstMs_ = 0;
};

QCoro::Task<int> run(std::shared_ptr<ScreenRecorder> recorder, int rounds) {
    StallMeter meter;
    double worstOverall = 0;
    for (int round = 1; round <= rounds; ++round) {
        QElapsedTimer total;
        total.start();
        meter.start();
        try {
            co_await recorder->prepareRecording();
        } catch (const std::exception& error) {
            meter.stop();
            std::fprintf(stderr, "vantrel-bench-prepare: preparation failed: %s\n", error.what());
            co_return 1;
        }
        const double stall = meter.stop();
        const double took = total.nsecsElapsed() / 1e6;
        if (!recorder->currentPipeline()) {
            std::fprintf(stderr, "vantrel-bench-prepare: nothing was prepared (no display, access or files)\n");
            co_return 1;
        }
        // The same stretch with nothing to do: what the machine's load alone costs the timer.
        meter.start();
        co_await QCoro::sleepFor(std::chrono::milliseconds(std::max<qint64>(50, qint64(took))));
        const double idle = meter.stop();
        std::printf("round %d: prepareRecording took %.1f ms, longest main-thread stall %.1f ms (idle: %.1f ms)\n",
                    round, took, stall, idle);
        worstOverall = std::max(worstOverall, stall);
        co_await recorder->cancelPreparedRecording();
    }
    std::printf("longest main-thread stall over %d rounds: %.1f ms (timer interval %d ms)\n", rounds, worstOverall,
                kTickMs);
    co_return 0;
}

} // namespace

int main(int argc, char** argv) {
    int rounds = 5;
    bool webcam = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg == "--rounds" && i + 1 < argc) {
            rounds = std::max(1, std::atoi(argv[++i]));
        } else if (arg == "--webcam") {
            webcam = true;
        } else {
            std::fprintf(stderr, "usage: vantrel-bench-prepare [--rounds N] [--webcam]\n");
            return 2;
        }
    }
    QCoreApplication app(argc, argv);
    BookmarkManager::shared();
    DisplayManager::shared();
    // The app lists its cameras and microphones at start-up, long before a countdown.
    CaptureDeviceList::shared(AVMediaType::audio);
    CaptureDeviceList::shared(AVMediaType::video);
    auto settings = std::make_shared<BenchSettings>();
    settings->user = AppSettings::shared();
    settings->webcam = webcam;
    settings->out = std::filesystem::temp_directory_path() / ("vantrel-bench-prepare-" + std::to_string(getpid()));
    std::filesystem::create_directories(settings->out);
    auto recorder = ScreenRecorder::create(settings);

    int status = 1;
    QTimer::singleShot(0, [&] {
        [](std::shared_ptr<ScreenRecorder> recorder, int rounds, int& status) -> QCoro::Task<> {
            status = co_await run(std::move(recorder), rounds);
            QCoreApplication::exit(status);
        }(recorder, rounds, status);
    });
    app.exec();
    std::error_code ignored;
    std::filesystem::remove_all(settings->out, ignored);
    return status;
}
