#include "platform/writer/AssetWriterInputImpl.h"

#include <algorithm>

namespace vantrel {

constexpr int64_t kNsPerSecond = 1'000'000'000;

int64_t hostNanoseconds(const CMTime& time) {
    if (time.timescale == kNsPerSecond) return time.value;
    const __int128 scaled = static_cast<__int128>(time.value) * kNsPerSecond;
    const __int128 half = time.timescale / 2;
    return static_cast<int64_t>((scaled >= 0 ? scaled + half : scaled - half) / time.timescale);
}

AVAssetWriterInput::Impl::Impl(AVMediaType type, AVOutputSettings outputSettings)
    : mediaType(type), settings(std::move(outputSettings)) {
    if (type == AVMediaType::audio) ring_.resize(kAudioQueueRuns);
}

AVAssetWriterInput::Impl::~Impl() {
    abortAndJoin();
    for (AVFrame*& picture : pictures_)
        av_frame_free(&picture);
}

bool AVAssetWriterInput::Impl::openEncoder(std::shared_ptr<AssetWriterCore> core, std::string* error) {
    core_ = std::move(core);
    if (mediaType == AVMediaType::video)
        video_ = VideoEncoderHevc::open(std::get<VideoOutputSettings>(settings), error);
    else
        audio_ = AudioEncoderAac::open(std::get<AudioOutputSettings>(settings), error);
    if (!video_) return audio_ != nullptr;

    // As many queued frames as the memory allows, up to the longest queue;
    // three pictures more: the one being converted, the one being encoded
    // and the held one, which may be neither queued nor free.
    const auto* c = video_->context();
    const size_t pictureBytes = static_cast<size_t>(c->width) * c->height * 3 / 2;
    const size_t queued = std::clamp(videoQueueBytes / pictureBytes, kMinVideoQueueFrames + 2,
                                     kMaxVideoQueueFrames + 2) - 2;
    for (size_t i = 0; i < queued + 3; ++i) {
        AVFrame* picture = video_->makePicture();
        if (!picture) {
            *error = "Out of memory for video frames.";
            return false;
        }
        pictures_.push_back(picture);
        freePictures_.push_back(static_cast<int>(i));
    }
    pictureUse_.assign(pictures_.size(), 0);
    ring_.resize(queued);
    policy_ = std::make_unique<VideoQueuePolicy>(queued);
    return true;
}

const AVCodecContext* AVAssetWriterInput::Impl::encoderContext() const {
    return video_ ? video_->context() : audio_->context();
}

AVRational AVAssetWriterInput::Impl::streamTimeBase() const {
    return video_ ? VideoEncoderHevc::kTimeBase : audio_->timeBase();
}

void AVAssetWriterInput::Impl::startWorker() {
    std::lock_guard lock(mutex_);
    worker_ = std::thread([this] { run(); });
    running_ = true;
}

void AVAssetWriterInput::Impl::markFinished() {
    std::lock_guard lock(mutex_);
    finished_ = true;
    wake_.notify_all();
}

void AVAssetWriterInput::Impl::finishAndJoin() {
    markFinished();
    if (worker_.joinable()) worker_.join();
}

void AVAssetWriterInput::Impl::abortAndJoin() {
    {
        std::lock_guard lock(mutex_);
        abort_ = true;
        wake_.notify_all();
    }
    if (worker_.joinable()) worker_.join();
    std::lock_guard lock(mutex_);
    dropQueueLocked();
}

void AVAssetWriterInput::Impl::endUseLocked(int picture, uint8_t use) {
    if (picture < 0) return;
    pictureUse_[picture] &= ~use;
    if (pictureUse_[picture] == 0) freePictures_.push_back(picture);
}

void AVAssetWriterInput::Impl::releasePictureLocked(int picture) {
    endUseLocked(picture, kQueuedUse);
}

void AVAssetWriterInput::Impl::holdPictureLocked(int picture, int64_t timeNs) {
    endUseLocked(heldPicture_, kHeldUse);
    heldPicture_ = picture;
    pictureUse_[picture] |= kHeldUse;
    heldTimeNs_ = timeNs;
    repeatTimeNs_ = -1;
}

void AVAssetWriterInput::Impl::dropQueueLocked() {
    for (size_t i = 0; i < count_; ++i)
        releasePictureLocked(ring_[(head_ + i) % ring_.size()].picture);
    for (Item& item : ring_)
        item = Item{};
    head_ = 0;
    count_ = 0;
    queuedSeconds_ = 0;
    if (policy_) policy_->clear();
}

bool AVAssetWriterInput::Impl::acceptingLocked() const {
    return running_ && core_->writing() && !finished_ && !abort_;
}

// Whether a run fits is decided before it is known, so that a ready input
// never refuses the next append.
bool AVAssetWriterInput::Impl::fullLocked() const {
    if (policy_) return !policy_->hasRoom();
    return count_ == ring_.size() || queuedSeconds_ >= kAudioQueueSeconds;
}

bool AVAssetWriterInput::Impl::ready() {
    std::lock_guard lock(mutex_);
    if (!acceptingLocked()) return false;
    // Video: each question stands for one frame offered, which the lowered
    // rate may leave out.
    const bool take = policy_ ? policy_->offer(hostNanoseconds(CMClockGetHostTime())) ==
                                        VideoQueuePolicy::Offer::take &&
                                    !freePictures_.empty()
                              : !fullLocked();
    if (!take) ++dropped;
    return take;
}

bool AVAssetWriterInput::Impl::push(Item item) {
    std::lock_guard lock(mutex_);
    if (!acceptingLocked() || !core_->sessionStarted) return false;
    if (fullLocked()) {
        ++dropped;
        return false;
    }
    if (policy_) policy_->pushed();
    // Held in the same breath as queued: the worker may be done with it
    // before this thread locks again.
    if (item.picture >= 0) holdPictureLocked(item.picture, item.timeNs);
    queuedSeconds_ += item.seconds;
    ring_[(head_ + count_) % ring_.size()] = std::move(item);
    ++count_;
    ++appended;
    wake_.notify_one();
    return true;
}

bool AVAssetWriterInput::Impl::enqueueVideo(CVPixelBufferRef image, CMTime time) {
    if (mediaType != AVMediaType::video || !image || !time.isValid()) return false;
    const int64_t timeNs = hostNanoseconds(time);
    // Frames from before the file's start have no place in it: taken and let go.
    if (core_ && core_->sessionStarted && core_->writing() && timeNs < core_->sessionStartNs) return true;
    int picture;
    {
        std::lock_guard lock(mutex_);
        if (!acceptingLocked() || !core_->sessionStarted) return false;
        if (fullLocked() || freePictures_.empty()) {
            ++dropped;
            return false;
        }
        picture = freePictures_.back();
        freePictures_.pop_back();
        pictureUse_[picture] = kQueuedUse;
    }
    // Only this thread touches a picture between taking it and queueing it.
    const bool converted = video_->convert(*image, pictures_[picture]);
    image.reset(); // the caller's buffer may go back to its pool now
    if (converted && repeatsHeld(picture, timeNs)) return true;
    if (converted && push(Item{picture, nullptr, timeNs, 0})) return true;
    std::lock_guard lock(mutex_);
    releasePictureLocked(picture);
    if (!converted) ++dropped;
    return false;
}

bool AVAssetWriterInput::Impl::repeatsHeld(int picture, int64_t timeNs) {
    int held;
    {
        std::lock_guard lock(mutex_);
        held = heldPicture_;
        if (held < 0 || timeNs - heldTimeNs_ >= kMaxRepeatNs || timeNs <= heldTimeNs_) return false;
    }
    // The held picture is only read, here and by the encoder, until this
    // thread queues the next one.
    if (!VideoEncoderHevc::samePicture(*pictures_[held], *pictures_[picture])) return false;
    std::lock_guard lock(mutex_);
    if (!acceptingLocked()) return false;
    releasePictureLocked(picture);
    repeatTimeNs_ = timeNs;
    ++repeated;
    return true;
}

bool AVAssetWriterInput::Impl::enqueueAudio(const CMSampleBufferRef& sample) {
    if (!sample || !sample->isValid()) return false;
    if (!sample->isAudio())
        return sample->imageBuffer() && enqueueVideo(sample->imageBuffer(), sample->presentationTimeStamp());
    if (mediaType != AVMediaType::audio || sample->timing().empty()) return false;
    const auto& format = *sample->audioFormat();
    if (format.sampleRate <= 0 || format.channelsPerFrame <= 0) return false;
    const double seconds = static_cast<double>(sample->numSamples()) / format.sampleRate;
    return push(
        Item{-1, sample, hostNanoseconds(sample->timing().front().presentationTimeStamp), seconds});
}

void AVAssetWriterInput::Impl::run() {
    bool drained = false;
    for (;;) {
        Item item;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return abort_ || count_ > 0 || finished_; });
            if (abort_ || !core_->writing()) break;
            if (count_ == 0) {
                drained = true;
                break;
            }
            item = std::move(ring_[head_]);
            ring_[head_] = Item{};
            head_ = (head_ + 1) % ring_.size();
            --count_;
            queuedSeconds_ = count_ == 0 ? 0 : queuedSeconds_ - item.seconds;
            if (policy_) policy_->popped();
        }
        process(item);
        if (item.picture >= 0) {
            std::lock_guard lock(mutex_);
            releasePictureLocked(item.picture);
        }
    }
    if (!drained) {
        // Failed or stopped: what is queued will never be encoded.
        std::lock_guard lock(mutex_);
        dropQueueLocked();
        return;
    }
    if (video_) encodePendingRepeat();
    {
        const auto sink = [this](AVPacket* p) { return writePacket(p, streamTimeBase()); };
        if (video_)
            video_->flush(sink);
        else
            audio_->flush(sink);
    }
}

void AVAssetWriterInput::Impl::encodePendingRepeat() {
    Item item;
    {
        std::lock_guard lock(mutex_);
        if (repeatTimeNs_ < 0 || heldPicture_ < 0) return;
        item.picture = heldPicture_;
        item.timeNs = repeatTimeNs_;
        repeatTimeNs_ = -1;
    }
    // Its frame now has a sample of its own.
    --repeated;
    ++appended;
    process(item);
}

void AVAssetWriterInput::Impl::process(Item& item) {
    const int64_t fileNs = item.timeNs - core_->sessionStartNs;
    const auto sink = [this](AVPacket* p) { return writePacket(p, streamTimeBase()); };
    bool ok = true;
    if (video_) {
        if (fileNs < 0) return;
        const int64_t pts = (fileNs * VideoEncoderHevc::kTimeBase.den + kNsPerSecond / 2) / kNsPerSecond;
        // Two frames on one tick of the file's clock cannot both be shown.
        if (pts <= lastVideoPts_) {
            ++dropped;
            return;
        }
        const bool first = lastVideoPts_ < 0;
        lastVideoPts_ = pts;
        // A track whose first frame is late would be pulled to the start of
        // the file (fragments carry no edit list); shown early instead, the
        // first frame simply stands in for the time before it.
        ok = video_->encode(pictures_[item.picture], first ? 0 : pts, sink);
    } else {
        ok = audio_->encode(*item.sample, fileNs, sink);
    }
    if (!ok && core_->writing()) ++dropped;
}

bool AVAssetWriterInput::Impl::writePacket(AVPacket* packet, AVRational timeBase) {
    if (core_->muxer->write(packet, streamIndex_, timeBase)) return true;
    core_->fail(core_->muxer->errorText());
    return false;
}

// The public face.

std::shared_ptr<AVAssetWriterInput> AVAssetWriterInput::initWithMediaType(AVMediaType mediaType,
                                                                          AVOutputSettings outputSettings) {
    const bool isVideo = std::holds_alternative<VideoOutputSettings>(outputSettings);
    if (isVideo != (mediaType == AVMediaType::video)) return nullptr;
    return std::shared_ptr<AVAssetWriterInput>(
        new AVAssetWriterInput(std::make_unique<Impl>(mediaType, std::move(outputSettings))));
}

AVAssetWriterInput::AVAssetWriterInput(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
AVAssetWriterInput::~AVAssetWriterInput() = default;

AVMediaType AVAssetWriterInput::mediaType() const {
    return impl_->mediaType;
}
const AVOutputSettings& AVAssetWriterInput::outputSettings() const {
    return impl_->settings;
}
void AVAssetWriterInput::setVideoQueueMemory(size_t bytes) {
    impl_->videoQueueBytes = bytes;
}
bool AVAssetWriterInput::isReadyForMoreMediaData() const {
    return impl_->ready();
}
bool AVAssetWriterInput::appendSampleBuffer(const CMSampleBufferRef& sampleBuffer) {
    return impl_->enqueueAudio(sampleBuffer);
}
void AVAssetWriterInput::markAsFinished() {
    impl_->markFinished();
}
uint64_t AVAssetWriterInput::appendedCount() const {
    return impl_->appended;
}
uint64_t AVAssetWriterInput::droppedCount() const {
    return impl_->dropped;
}
uint64_t AVAssetWriterInput::repeatedCount() const {
    return impl_->repeated;
}

std::shared_ptr<AVAssetWriterInputPixelBufferAdaptor>
AVAssetWriterInputPixelBufferAdaptor::initWithAssetWriterInput(std::shared_ptr<AVAssetWriterInput> input,
                                                               PixelBufferAttributes attributes) {
    if (!input || input->mediaType() != AVMediaType::video ||
        attributes.pixelFormatType != kCVPixelFormatType_32BGRA)
        return nullptr;
    return std::make_shared<AVAssetWriterInputPixelBufferAdaptor>(std::move(input), attributes);
}

AVAssetWriterInputPixelBufferAdaptor::AVAssetWriterInputPixelBufferAdaptor(
    std::shared_ptr<AVAssetWriterInput> input, PixelBufferAttributes attributes)
    : input_(std::move(input)), attributes_(attributes) {}

bool AVAssetWriterInputPixelBufferAdaptor::appendPixelBuffer(const CVPixelBufferRef& pixelBuffer,
                                                             CMTime presentationTime) {
    return input_->impl().enqueueVideo(pixelBuffer, presentationTime);
}

} // namespace vantrel
