#pragma once
// Media for writer tests: frames with a pattern that moves from frame to
// frame, sine tones as interleaved float runs, and a recording set up the
// way the recorder sets one up (one video input, audio inputs after it).

#include "platform/writer/AssetWriter.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <vector>

namespace vantrel::test {

/// Diagonal bands that slide with `index` and a square that crosses the
/// picture; `noisy` adds per-pixel noise (for big packets).
void drawMovingPattern(CVPixelBuffer& buffer, int index, bool noisy = false);

/// A run of `frames` of a sine at `frequency`, continuing at `firstFrame`,
/// every channel alike, stamped at `time`.
CMSampleBufferRef sineRun(double frequency, int rate, int channels, int64_t firstFrame, int frames,
                          CMTime time);

/// `base` plus `seconds`, on the host clock's nanosecond timescale.
CMTime hostTimeAfter(CMTime base, double seconds);

struct TestRecording {
    std::shared_ptr<AVAssetWriter> writer;
    std::shared_ptr<AVAssetWriterInput> video;
    std::shared_ptr<AVAssetWriterInputPixelBufferAdaptor> adaptor;
    std::vector<std::shared_ptr<AVAssetWriterInput>> audio;
};

/// A writer for `file` with a video input of the given size and `audioTracks`
/// AAC inputs; null members when the writer could not be made.
TestRecording makeRecording(const std::filesystem::path& file, int width, int height, int audioTracks,
                            double keyFrameIntervalSeconds = 2.0);

/// Finishes and waits for the completion handler; false on timeout. Counts
/// the handler's calls into `handlerCalls` when given.
bool finishAndWait(AVAssetWriter& writer, std::chrono::milliseconds timeout, int* handlerCalls = nullptr);

/// A folder under the temporary directory, removed with its contents afterwards.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace vantrel::test
