#pragma once
// The writer finishes on its own threads and says so through a handler; a
// tool that has nothing else to do waits for it.

namespace vantrel {
class AVAssetWriter;
} // namespace vantrel

namespace vantrel::tools {

/// Finishes `writer` and returns once its completion handler has run.
void finishWritingAndWait(AVAssetWriter& writer);

} // namespace vantrel::tools
