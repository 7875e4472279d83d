#pragma once
// An input's machinery: a bounded queue that the caller's thread fills
// without waiting, and a worker that empties it into the input's encoder
// and hands the packets to the file. A video frame is converted to 4:2:0 on
// the caller's thread, into one of the input's own pictures, so that the
// caller's buffer (a capture or engine buffer from a small pool) goes back
// at once and the queue can be long.

#include "platform/writer/AssetWriter.h"
#include "platform/writer/AssetWriterCore.h"
#include "platform/writer/AudioEncoderAac.h"
#include "platform/writer/VideoEncoderHevc.h"
#include "platform/writer/VideoQueuePolicy.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace vantrel {

class AVAssetWriterInput::Impl {
public:
    /// The memory the queued pictures of a video input may take unless its
    /// owner says otherwise: half a second of 1080p at 60 fps (the rate
    /// steps down before a queue stays full). The pictures are reserved when
    /// the encoder opens and touched only when a burst fills them.
    static constexpr size_t kDefaultVideoQueueBytes = 96u << 20;
    /// At most half a second at 60 fps, at least enough to smooth jitter.
    static constexpr size_t kMaxVideoQueueFrames = 31;
    static constexpr size_t kMinVideoQueueFrames = 3;
    /// Audio runs are small and cheap to encode: half a second of them.
    static constexpr double kAudioQueueSeconds = 0.5;
    static constexpr size_t kAudioQueueRuns = 128;

    Impl(AVMediaType mediaType, AVOutputSettings settings);
    ~Impl();

    AVMediaType mediaType;
    AVOutputSettings settings;
    size_t videoQueueBytes = kDefaultVideoQueueBytes;

    /// Writer side, before writing: opens the encoder. False with `error` set.
    bool openEncoder(std::shared_ptr<AssetWriterCore> core, std::string* error);
    const AVCodecContext* encoderContext() const;
    AVRational streamTimeBase() const;
    std::string encoderName() const { return video_ ? video_->name() : "aac"; }
    void setStreamIndex(int index) { streamIndex_ = index; }
    void startWorker();
    /// Lets the worker encode what is queued and flush, then waits for it.
    void finishAndJoin();
    /// Stops the worker at once; what is queued is thrown away.
    void abortAndJoin();

    bool ready();
    bool enqueueVideo(CVPixelBufferRef image, CMTime time);
    bool enqueueAudio(const CMSampleBufferRef& sample);
    void markFinished();

    std::atomic<uint64_t> appended{0};
    std::atomic<uint64_t> dropped{0};

private:
    struct Item {
        int picture = -1; // index into pictures_
        CMSampleBufferRef sample;
        int64_t timeNs = 0;
        double seconds = 0;
    };

    bool acceptingLocked() const;
    bool fullLocked() const;
    bool push(Item item);
    void releasePictureLocked(int picture);
    void dropQueueLocked();
    void run();
    void process(Item& item);
    bool writePacket(AVPacket* packet, AVRational timeBase);

    std::shared_ptr<AssetWriterCore> core_;
    std::unique_ptr<VideoEncoderHevc> video_;
    std::unique_ptr<AudioEncoderAac> audio_;
    int streamIndex_ = -1;
    int64_t lastVideoPts_ = -1;
    // Video: the pictures frames wait in, the free ones, and the rules of the queue.
    std::vector<AVFrame*> pictures_;
    std::vector<int> freePictures_;
    std::unique_ptr<VideoQueuePolicy> policy_;

    std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<Item> ring_;
    size_t head_ = 0;
    size_t count_ = 0;
    double queuedSeconds_ = 0;
    bool finished_ = false;
    bool abort_ = false;
    bool running_ = false; // the worker was started
    std::thread worker_;
};

} // namespace vantrel
