#pragma once
// Which frames the queue in front of a video encoder takes. The queue
// carries up to half a second of a 60 fps stream (fewer frames when its
// memory holds fewer), so that the short bursts of a screen recording (a
// page that scrolls, the encoders starting) are encoded late rather than
// lost. It counts frames, not the time between them: a still screen queues
// a sample every tenth of a second, and five of those are not a backlog.
// Under an overload that lasts, dropping wherever the queue happens to be
// full would make motion stutter; instead the delivered rate steps down
// (every frame, every second, every third: 60, 30, 20 fps from a 60 fps
// stream) while the queue stays full, and back up once it has drained.
//
// Plain logic on the host clock of each offer, which tells how long a state
// has lasted. Not thread-safe; its owner locks.

#include <array>
#include <cstddef>
#include <cstdint>

namespace vantrel {

class VideoQueuePolicy {
public:
    /// Every n-th frame offered is taken, n from this list.
    static constexpr std::array<int, 3> kRateDivisors{1, 2, 3};
    /// How long the frames of a full queue take to go.
    static constexpr int64_t kMaxSpanNs = 500'000'000;
    /// A queue at least this full counts as full (within a frame or two),
    /// at most this empty as drained.
    static constexpr double kHighFill = 0.9;
    static constexpr double kLowFill = 0.25;
    /// Full this long: a step down; the next one waits as long again after
    /// the frames queued before the step have had time to go (the span).
    /// Drained this long: a step up, the wait doubling (up to the maximum)
    /// each time a step up was soon taken back.
    static constexpr int64_t kStepDownAfterNs = 500'000'000;
    static constexpr int64_t kStepUpAfterNs = 2'000'000'000;
    static constexpr int64_t kMaxStepUpAfterNs = 16'000'000'000;
    static constexpr int64_t kBounceWindowNs = 4'000'000'000;

    /// `maxFrames` (at least 1) is what the queue holds.
    explicit VideoQueuePolicy(size_t maxFrames, int64_t maxSpanNs = kMaxSpanNs);

    enum class Offer { take, skip, full };
    /// The answer for the next frame, offered at host time `nowNs` (which
    /// never goes back): `skip` when the lowered rate leaves it out, `full`
    /// when the queue has no room. Steps the rate by how full the queue has been.
    Offer offer(int64_t nowNs);
    /// Whether one more frame fits, whatever the rate.
    bool hasRoom() const;
    /// A frame went into the queue.
    void pushed();
    /// The oldest frame left the queue.
    void popped();
    void clear();

    size_t size() const { return count_; }
    size_t maxFrames() const { return maxFrames_; }
    /// 1 while every frame is taken, 2 for every second one, 3 for every third.
    int rateDivisor() const { return kRateDivisors[level_]; }

private:
    double fill() const;
    void step(int64_t nowNs);

    size_t maxFrames_;
    size_t count_ = 0;
    int64_t maxSpanNs_;

    size_t level_ = 0;
    uint64_t offered_ = 0;
    int64_t highSince_ = -1;
    int64_t lowSince_ = -1;
    int64_t lastStepUp_ = -1;
    int64_t stepUpAfter_ = kStepUpAfterNs;
};

} // namespace vantrel
