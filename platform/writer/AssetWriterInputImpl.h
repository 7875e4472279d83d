#pragma once
// An input's machinery: a bounded queue that the caller's thread fills
// without waiting, and a worker that empties it into the input's encoder
// and hands the packets to the file.

#include "platform/writer/AssetWriter.h"
#include "platform/writer/AssetWriterCore.h"
#include "platform/writer/AudioEncoderAac.h"
#include "platform/writer/VideoEncoderHevc.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace vantrel {

class AVAssetWriterInput::Impl {
public:
    /// A video frame waits for its turn holding only a reference to its pixels.
    static constexpr size_t kVideoQueueFrames = 3;
    /// Audio runs are small and cheap to encode: half a second of them.
    static constexpr double kAudioQueueSeconds = 0.5;
    static constexpr size_t kAudioQueueRuns = 128;

    Impl(AVMediaType mediaType, AVOutputSettings settings);
    ~Impl();

    AVMediaType mediaType;
    AVOutputSettings settings;

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
        CVPixelBufferRef image;
        CMSampleBufferRef sample;
        int64_t timeNs = 0;
        double seconds = 0;
    };

    bool acceptingLocked() const;
    bool fullLocked() const;
    bool push(Item item);
    void run();
    void process(Item& item);
    bool writePacket(AVPacket* packet, AVRational timeBase);

    std::shared_ptr<AssetWriterCore> core_;
    std::unique_ptr<VideoEncoderHevc> video_;
    std::unique_ptr<AudioEncoderAac> audio_;
    int streamIndex_ = -1;
    int64_t lastVideoPts_ = -1;

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
