#include "RecordRun.h"

#include "platform/displays/DisplayList.h"

#include <QCoro/QCoroTimer>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <unistd.h>

namespace vantrel::tools {

using namespace std::chrono_literals;

namespace {

constexpr auto kPoll = 50ms;
constexpr const char* kDisplayGone = "the display server went away";

std::string oneLine(QString text) {
    return text.replace('\n', ' ').toStdString();
}

std::string clockText(qint64 ms) {
    char text[32];
    std::snprintf(text, sizeof text, "%02lld:%02lld", static_cast<long long>(ms / 60000),
                  static_cast<long long>(ms / 1000 % 60));
    return text;
}

} // namespace

RecordRun::RecordRun(std::shared_ptr<ScreenRecorder> recorder, RecordOptions options, std::FILE* results)
    : recorder_(std::move(recorder)), options_(std::move(options)), results_(results),
      progressOnTerminal_(isatty(STDERR_FILENO) != 0) {}

bool RecordRun::openCameraPath() {
    if (options_.cameraPathPath.empty()) return true;
    cameraPath_.open(options_.cameraPathPath);
    if (!cameraPath_) {
        std::fprintf(stderr, "vantrel-record: %s: cannot be written\n", options_.cameraPathPath.c_str());
        return false;
    }
    return true;
}

QCoro::Task<int> RecordRun::run() {
    if (!openCameraPath()) co_return 1;
    try {
        co_await recorder_->prepareRecording();
    } catch (const ScreenRecorderError& error) {
        std::fprintf(stderr, "vantrel-record: %s\n", oneLine(error.localizedDescription()).c_str());
        co_return 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vantrel-record: the screen cannot be captured: %s\n", error.what());
        co_return 1;
    }
    pipeline_ = recorder_->currentPipeline();
    if (!pipeline_) {
        std::fprintf(stderr, "vantrel-record: nothing to record: no screen capture, no display, accessibility "
                             "off while an overlay needs it, or the files cannot be created\n");
        co_return 1;
    }
    files_.push_back({pipeline_->zoomedAssetWriter->outputURL().path.string(), pipeline_->zoomedAssetWriter,
                      pipeline_->zoomedVideoInput});
    if (pipeline_->fullAssetWriter)
        files_.push_back({pipeline_->fullAssetWriter->outputURL().path.string(), pipeline_->fullAssetWriter,
                          pipeline_->fullVideoInput});

    if (cameraPath_.is_open()) {
        // Runs on the recorder's sample queue, one frame at a time.
        recorder_->setFrameObserver([this](CMTime fileTime, const VideoProcessor& engine, bool written) {
            if (!written) return;
            const CMTime start = recorder_->sessionStateSnapshot().sessionStartTime;
            const CGRect crop = engine.lastCropRect();
            char line[160];
            std::snprintf(line, sizeof line, "{\"pts\": %.6f, \"crop\": [%.4f, %.4f, %.4f, %.4f], \"zoom\": %.6f}\n",
                          (fileTime - start).seconds(), crop.origin.x, crop.origin.y, crop.size.width,
                          crop.size.height, engine.lastEffectiveZoom());
            cameraPath_ << line;
        });
    }

    try {
        co_await recorder_->startRecording();
    } catch (const ScreenRecorderError& error) {
        std::fprintf(stderr, "vantrel-record: %s\n", oneLine(error.localizedDescription()).c_str());
        co_return 1;
    }
    clock_.start();

    std::string reason;
    while ((reason = reasonToStop()).empty()) {
        applyScriptedPause();
        reportProgress();
        co_await QCoro::sleepFor(kPoll);
    }
    if (progressOnTerminal_) std::fputc('\n', stderr);

    int status = 0;
    if (recorder_->isCurrentlyRecording()) {
        if (reason != "time") std::fprintf(stderr, "vantrel-record: %s; finishing the files\n", reason.c_str());
        QElapsedTimer closing;
        closing.start();
        try {
            co_await recorder_->stopRecording();
            std::fprintf(stderr, "vantrel-record: files closed %lld ms after stop\n",
                         static_cast<long long>(closing.elapsed()));
        } catch (const std::exception& error) {
            // A stream whose display went away has stopped already; the
            // files are finished all the same.
            if (reason != kDisplayGone)
                std::fprintf(stderr, "vantrel-record: the capture did not stop cleanly: %s\n", error.what());
            status = 1;
        }
        // Cut short: what was recorded is kept, but the caller should know.
        if (reason == kDisplayGone) status = 1;
    } else {
        // The recorder stopped by itself because the file could not be
        // written any further; its own stop finishes the files.
        while (pipeline_->zoomedAssetWriter)
            co_await QCoro::sleepFor(kPoll);
        // A writer that failed before a whole fragment reached the disk took
        // its unplayable file away.
        const bool kept = std::filesystem::exists(files_.front().path);
        std::fprintf(stderr, "vantrel-record: the recording stopped early: %s; %s\n",
                     files_.front().writer->error().localizedDescription.c_str(),
                     kept ? "what was recorded is kept" : "nothing playable was written, so no file is left");
        status = 1;
    }
    // A write that failed while the files were being finished (the disk
    // filled with the last fragment) is a failure too, not a saved file.
    if (status == 0 && files_.front().writer->status() == AVAssetWriterStatus::failed) {
        const bool kept = std::filesystem::exists(files_.front().path);
        std::fprintf(stderr, "vantrel-record: the file could not be finished: %s; %s\n",
                     files_.front().writer->error().localizedDescription.c_str(),
                     kept ? "what was recorded is kept" : "nothing playable was written, so no file is left");
        status = 1;
    }
    recorder_->setFrameObserver({});
    cameraPath_.close();
    printResults();
    co_return status;
}

std::string RecordRun::reasonToStop() {
    if (stopRequested_) return "stopped on request";
    if (!recorder_->isCurrentlyRecording()) return "writer failed";
    if (options_.seconds && clock_.elapsed() >= qint64(*options_.seconds * 1000)) return "time";
    // Once a second: is the display server still there?
    if (clock_.elapsed() / 1000 != lastReportMs_ / 1000) {
        try {
            DisplayList::shared()->monitors();
        } catch (const DisplayServiceError&) {
            return kDisplayGone;
        }
    }
    return {};
}

void RecordRun::applyScriptedPause() {
    const double elapsed = clock_.elapsed() / 1000.0;
    if (options_.pauseAt && !paused_ && elapsed >= *options_.pauseAt) {
        paused_ = true;
        recorder_->pause();
    }
    if (options_.resumeAt && paused_ && !resumed_ && elapsed >= *options_.resumeAt) {
        resumed_ = true;
        recorder_->resume();
    }
}

void RecordRun::reportProgress() {
    const qint64 now = clock_.elapsed();
    if (lastReportMs_ >= 0 && now / 1000 == lastReportMs_ / 1000) return;
    lastReportMs_ = now;
    std::string line = clockText(now);
    if (recorder_->isPaused()) line += " paused";
    for (size_t i = 0; i < files_.size(); ++i) {
        const auto& input = files_[i].videoInput;
        line += files_.size() == 1 ? "  " : (i == 0 ? "  zoomed " : "  full ");
        line += std::to_string(input->appendedCount() + input->repeatedCount()) + " frames, " +
                std::to_string(input->droppedCount()) + " dropped";
    }
    std::fprintf(stderr, progressOnTerminal_ ? "\r%s\033[K" : "%s\n", line.c_str());
    std::fflush(stderr);
}

void RecordRun::printResults() {
    // A writer that never got a sample leaves no file, and is not named.
    std::erase_if(files_, [](const FileCounts& file) { return !std::filesystem::exists(file.path); });
    for (const auto& file : files_)
        std::fprintf(results_, "%s\n", file.path.c_str());
    for (const auto& file : files_) {
        const auto& input = *file.videoInput;
        // A repeat is a kept frame too: its picture is carried by the sample before.
        const unsigned long long repeats = input.repeatedCount();
        std::fprintf(results_, "frames=%llu dropped=%llu repeats=%llu\n", input.appendedCount() + repeats,
                     static_cast<unsigned long long>(input.droppedCount()), repeats);
    }
    std::fflush(results_);
}

} // namespace vantrel::tools
