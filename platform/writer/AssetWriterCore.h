#pragma once
// What a writer shares with its inputs' workers: its status, the session
// start and the file. Inputs hold it by shared pointer so that either side
// may go first.

#include "platform/writer/AssetWriter.h"
#include "platform/writer/Mp4Muxer.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

namespace vantrel {

struct AssetWriterCore {
    std::atomic<AVAssetWriterStatus> status{AVAssetWriterStatus::unknown};
    std::atomic<bool> sessionStarted{false};
    /// Host time (ns) of file time 0.
    std::atomic<int64_t> sessionStartNs{0};
    std::unique_ptr<Mp4Muxer> muxer;

    bool writing() const { return status.load() == AVAssetWriterStatus::writing; }

    /// The first failure while writing wins; later ones keep its text.
    void fail(const std::string& text) {
        std::lock_guard lock(errorMutex);
        auto expected = AVAssetWriterStatus::writing;
        if (status.compare_exchange_strong(expected, AVAssetWriterStatus::failed) ||
            expected == AVAssetWriterStatus::unknown) {
            status = AVAssetWriterStatus::failed;
            errorText = text;
        }
    }
    std::string error() const {
        std::lock_guard lock(errorMutex);
        return errorText;
    }

    mutable std::mutex errorMutex;
    std::string errorText;
};

/// A host time in nanoseconds, exactly (rounded to the nearest nanosecond).
int64_t hostNanoseconds(const CMTime& time);

} // namespace vantrel
