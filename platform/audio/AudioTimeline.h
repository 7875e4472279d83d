#pragma once
// Where each run of incoming audio lands on a track. The track follows the
// sample times, but between them it counts samples, so that clock jitter in
// the time stamps never becomes clicks. A jump forward of more than a gap
// (a pause closed up, a device that hiccupped, a capture clock that corrected
// itself, a source that moved to another device) is filled with silence so the
// audio after it plays at its own time; a run that starts before the track's
// end has its overlapping head cut off; anything before the file's time 0 is
// cut off as well.

#include <cstdint>

namespace vantrel {

class AudioTimeline {
public:
    /// Below the capture clock's own correction (AudioPacketClock::kMaxDriftNs),
    /// so that a track moved on by it really moves; far above the rounding
    /// of counted stamps.
    static constexpr int64_t kDefaultGapNs = 10'000'000;

    struct Placement {
        /// Input frames to throw away from the start of the run.
        int64_t skipFrames = 0;
        /// Output samples of silence to put in before the rest.
        int64_t silenceSamples = 0;
        /// True when the run adds nothing (all of it before the origin or overlapping).
        bool dropped = false;
    };

    /// `originSample`: the file time, in output samples, the track starts at.
    explicit AudioTimeline(int outputRate, int64_t gapNs = kDefaultGapNs, int64_t originSample = 0);

    /// A run of `frames` input frames at `inputRate` whose first frame is at
    /// `startNs` of file time (negative: before the session start).
    Placement place(int64_t startNs, int64_t frames, double inputRate);

    bool started() const { return started_; }
    /// The output sample the track starts at.
    int64_t firstSample() const { return firstSample_; }
    /// Output samples placed so far, counted from firstSample (silence included).
    double placedSamples() const { return endSample_ - static_cast<double>(firstSample_); }

private:
    int outputRate_;
    int64_t gapNs_;
    bool started_ = false;
    int64_t firstSample_;
    double endSample_ = 0; // where the next run is expected, in output samples of file time
};

} // namespace vantrel
