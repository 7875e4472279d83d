#include "FinishWriting.h"

#include "platform/writer/AssetWriter.h"

#include <condition_variable>
#include <mutex>

namespace vantrel::tools {

void finishWritingAndWait(AVAssetWriter& writer) {
    std::mutex mutex;
    std::condition_variable finished;
    bool done = false;
    writer.finishWritingWithCompletionHandler([&] {
        std::lock_guard lock(mutex);
        done = true;
        finished.notify_all();
    });
    std::unique_lock lock(mutex);
    finished.wait(lock, [&] { return done; });
}

} // namespace vantrel::tools
