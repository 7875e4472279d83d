#pragma once
// What the recorder's operations, its two sample queues and the main thread
// share, held as one value inside the recorder's lock.

#include "platform/core/CMTime.h"
#include "platform/capture/ScreenStream.h"

#include <memory>
#include <optional>

namespace vantrel {

class RecordingPipeline;

enum class RecordingState { idle, recording, paused };

/// A running capture stream, as the session state holds it.
struct StreamContainer {
    std::shared_ptr<SCStream> stream;
};

struct RecordingSessionState {
    RecordingState recordingState = RecordingState::idle;
    /// Host clock when the current pause began; invalid when not paused.
    CMTime pauseStartTime = CMTime::invalid();
    /// Sum of all finished pauses of this recording.
    CMTime totalPausedDuration = CMTime::zero();
    /// Presentation time of the first stream sample of this recording.
    CMTime sessionStartTime = CMTime::invalid();
    std::optional<StreamContainer> activeStreamContainer;
    std::optional<StreamContainer> preparedStreamContainer;
    std::shared_ptr<RecordingPipeline> pipeline;
    /// A stop because of a failed writer has been asked for.
    bool isStopTriggeredByFailure = false;
};

} // namespace vantrel
