#pragma once
// An input's machinery: a bounded queue that the caller's thread fills
// without waiting, and a worker that empties it into the input's encoder
// and hands the packets to the file. A video frame is converted to 4:2:0 on
// the caller's thread, into one of the input's own pictures, so that the
// caller's buffer (a capture or engine buffer from a small pool) goes back
// at once and the queue can be long.
//
// A screen at rest gives the same picture sixty times a second, and encoding
// each costs x265 as much as a picture that changed. A frame that repeats
// the last queued one is therefore not encoded: that frame's sample lasts
// until the next one. At least ten samples a second are still written, so
// that a file cut short by a crash holds the picture to within 0.1 s of its
// end and no reader sees a frame lasting seconds; the last repeat before the
// end is encoded at its own time, so the track lasts as long as it was fed.

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
    /// At most half a second at 60 fps. At least two: x265 keeps a few
    /// pictures of its own in flight, which smooth its jitter already.
    static constexpr size_t kMaxVideoQueueFrames = 31;
    static constexpr size_t kMinVideoQueueFrames = 2;
    /// Audio runs are small and cheap to encode: half a second of them.
    static constexpr double kAudioQueueSeconds = 0.5;
    static constexpr size_t kAudioQueueRuns = 128;
    /// A repeat this long after the last sample gets a sample of its own:
    /// at 60 or 30 fps the one 0.1 s on, so samples are never further apart.
    static constexpr int64_t kMaxRepeatNs = 90'000'000;

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
    std::atomic<uint64_t> repeated{0};

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
    /// Whether a frame at `timeNs` just converted into `picture` shows the
    /// last queued picture again, soon enough to be carried by its sample.
    bool repeatsHeld(int picture, int64_t timeNs);
    /// Ends one use of a picture; one in no use is free again.
    void endUseLocked(int picture, uint8_t use);
    void releasePictureLocked(int picture);
    void holdPictureLocked(int picture, int64_t timeNs);
    /// Encodes the last repeat carried by the held picture at its own time.
    void encodePendingRepeat();
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
    // A picture is free when neither queued (waiting or being encoded) nor
    // held as the last queued one, which the next frame is compared with.
    enum PictureUse : uint8_t { kQueuedUse = 1, kHeldUse = 2 };
    std::vector<uint8_t> pictureUse_;
    int heldPicture_ = -1;
    int64_t heldTimeNs_ = 0;
    int64_t repeatTimeNs_ = -1; // the latest repeat carried by the held picture
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
