#pragma once
// Reading a recording of the flash-and-beep scene: the time of each first
// white frame, and for each audio track the onset of each tone, paired with
// the flash it belongs to.

#include <filesystem>
#include <vector>

namespace vantrel::tools {

struct TrackOffsets {
    int audioTrack = 0;          // 0 for the first audio track of the file
    std::vector<double> offsetsMs; // tone onset minus white frame, per flash (NaN: no tone); < 0: sound early
};

struct FlashAnalysis {
    std::vector<double> flashSeconds; // file time of each first white frame
    std::vector<double> lastBlackSeconds; // and of the frame before it: the flash came in between
    std::vector<TrackOffsets> tracks;
};

/// Throws std::runtime_error with a one-line reason when the file cannot be read.
FlashAnalysis analyseFlashRecording(const std::filesystem::path& file);

} // namespace vantrel::tools
