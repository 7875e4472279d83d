#include "platform/writer/AssetWriter.h"

#include "platform/writer/AssetWriterCore.h"
#include "platform/writer/AssetWriterInputImpl.h"
#include "platform/writer/Mp4Remux.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <mutex>
#include <thread>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

namespace vantrel {

namespace {

/// FFmpeg's notes (encoder statistics, probing of hardware that is not
/// there) would fill the user's terminal; its errors are what matter.
void quietenFFmpeg() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_ERROR); });
}

} // namespace

class AVAssetWriter::Impl {
public:
    URL url;
    std::shared_ptr<AssetWriterCore> core = std::make_shared<AssetWriterCore>();
    std::vector<std::shared_ptr<AVAssetWriterInput>> inputs;
    std::string encoderName;
    std::mutex lifecycleMutex; // start, finish, cancel and teardown, one at a time
    bool fileCreated = false;
    bool finishing = false;
    std::thread finisher;

    ~Impl() {
        {
            std::lock_guard lock(lifecycleMutex);
            // Dropped unfinished: keep what is there, closed as a playable fragmented file.
            if (!finishing) {
                stopInputs(false);
                std::string ignored;
                if (core->muxer) core->muxer->close(&ignored);
            }
        }
        if (finisher.joinable()) {
            // The completion handler may hold the last reference to us.
            if (finisher.get_id() == std::this_thread::get_id())
                finisher.detach();
            else
                finisher.join();
        }
    }

    void stopInputs(bool drain) {
        for (auto& input : inputs) {
            if (drain)
                input->impl().finishAndJoin();
            else
                input->impl().abortAndJoin();
        }
    }

    void removeFile() {
        std::error_code ignored;
        std::filesystem::remove(url.path, ignored);
    }

    void failToStart(const std::string& text) {
        core->status = AVAssetWriterStatus::failed;
        {
            std::lock_guard lock(core->errorMutex);
            core->errorText = text;
        }
        stopInputs(false);
        if (core->muxer) {
            std::string ignored;
            core->muxer->close(&ignored);
        }
        if (fileCreated) removeFile();
    }

    bool startWriting() {
        std::lock_guard lock(lifecycleMutex);
        if (core->status != AVAssetWriterStatus::unknown) return false;
        quietenFFmpeg();
        // The file is claimed here, not only checked for, so that two
        // recordings can never write over each other.
        const int fd = ::open(url.path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0) {
            failToStart("Cannot create " + url.path.string() + ": " + std::strerror(errno));
            return false;
        }
        ::close(fd);
        fileCreated = true;
        // The video track comes first whatever the order the inputs were added in.
        std::stable_partition(inputs.begin(), inputs.end(),
                              [](const auto& input) { return input->mediaType() == AVMediaType::video; });
        core->muxer = std::make_unique<Mp4Muxer>(url.path);
        for (auto& input : inputs) {
            auto& impl = input->impl();
            std::string error;
            if (!impl.openEncoder(core, &error)) {
                failToStart(error);
                return false;
            }
            const bool video = input->mediaType() == AVMediaType::video;
            if (video) encoderName = impl.encoderName();
            const int index = core->muxer->addStream(impl.encoderContext(), impl.streamTimeBase(),
                                                     video ? MKTAG('h', 'v', 'c', '1') : 0);
            if (index < 0) {
                failToStart("Cannot add a track to " + url.path.string());
                return false;
            }
            impl.setStreamIndex(index);
        }
        std::string error;
        if (!core->muxer->open(&error)) {
            failToStart(error);
            return false;
        }
        core->status = AVAssetWriterStatus::writing;
        for (auto& input : inputs)
            input->impl().startWorker();
        return true;
    }

    void finish(std::function<void()> handler) {
        std::lock_guard lock(lifecycleMutex);
        if (finishing) return;
        finishing = true;
        finisher = std::thread([this, handler = std::move(handler)] {
            finishOnThread();
            if (handler) handler();
        });
    }

    void finishOnThread() {
        {
            std::lock_guard lock(lifecycleMutex);
            // Never started: there is no file and nothing to lose.
            if (core->status == AVAssetWriterStatus::unknown) {
                core->status = AVAssetWriterStatus::completed;
                return;
            }
        }
        stopInputs(true);
        std::lock_guard lock(lifecycleMutex);
        if (core->status == AVAssetWriterStatus::cancelled) return;
        std::string error;
        const bool closed = core->muxer->close(&error);
        if (!closed) core->fail(error);
        if (core->status != AVAssetWriterStatus::writing) {
            // Failed (say the disk is full): a file that got no further than
            // its header would not play, so it goes; one with a whole
            // fragment plays up to there and stays as it is.
            if (!core->muxer->holdsMedia()) removeFile();
            return;
        }
        if (!core->sessionStarted) {
            // Nothing can have reached the file without a session start: an
            // empty recording leaves no file behind, and that is a success.
            removeFile();
            core->status = AVAssetWriterStatus::completed;
            return;
        }
        // The fragmented file already plays; the remux only gives it one
        // index. If it cannot be done (say the disk is full), keep the
        // fragmented file: still a success.
        std::string ignored;
        remuxToIndexedMp4(url.path, &ignored);
        core->status = AVAssetWriterStatus::completed;
    }

    void cancel() {
        std::lock_guard lock(lifecycleMutex);
        if (finishing) return;
        const auto status = core->status.load();
        if (status != AVAssetWriterStatus::writing && status != AVAssetWriterStatus::unknown) return;
        core->status = AVAssetWriterStatus::cancelled;
        stopInputs(false);
        if (core->muxer) {
            std::string ignored;
            core->muxer->close(&ignored);
        }
        if (fileCreated) removeFile();
    }
};

std::shared_ptr<AVAssetWriter> AVAssetWriter::initWithURL(const URL& url, AVFileType, NSError* error) {
    auto fail = [&](const std::string& text) -> std::shared_ptr<AVAssetWriter> {
        if (error) error->localizedDescription = text;
        return nullptr;
    };
    const std::filesystem::path folder = url.path.has_parent_path() ? url.path.parent_path() : ".";
    std::error_code ec;
    if (url.path.filename().empty()) return fail("No file name given for the recording.");
    if (!std::filesystem::is_directory(folder, ec))
        return fail("The folder " + folder.string() + " does not exist.");
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        return fail("The folder " + folder.string() + " cannot be written to.");
    if (std::filesystem::exists(std::filesystem::symlink_status(url.path, ec)))
        return fail("The file " + url.path.string() + " already exists.");
    auto impl = std::make_unique<Impl>();
    impl->url = url;
    return std::shared_ptr<AVAssetWriter>(new AVAssetWriter(std::move(impl)));
}

AVAssetWriter::AVAssetWriter(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
AVAssetWriter::~AVAssetWriter() = default;

const URL& AVAssetWriter::outputURL() const {
    return impl_->url;
}

bool AVAssetWriter::canAddInput(const AVAssetWriterInput& input) const {
    if (impl_->core->status != AVAssetWriterStatus::unknown) return false;
    for (const auto& added : impl_->inputs) {
        if (added.get() == &input) return false;
        if (input.mediaType() == AVMediaType::video && added->mediaType() == AVMediaType::video) return false;
    }
    if (const auto* audio = std::get_if<AudioOutputSettings>(&input.outputSettings()))
        return audio->formatID == kAudioFormatMPEG4AAC;
    return std::get<VideoOutputSettings>(input.outputSettings()).codec == AVVideoCodecTypeHEVC;
}

void AVAssetWriter::addInput(std::shared_ptr<AVAssetWriterInput> input) {
    if (input && canAddInput(*input)) impl_->inputs.push_back(std::move(input));
}

bool AVAssetWriter::startWriting() {
    return impl_->startWriting();
}

void AVAssetWriter::startSessionAtSourceTime(CMTime startTime) {
    if (!startTime.isValid() || impl_->core->sessionStarted) return;
    impl_->core->sessionStartNs = hostNanoseconds(startTime);
    impl_->core->sessionStarted = true;
}

AVAssetWriterStatus AVAssetWriter::status() const {
    return impl_->core->status;
}
NSError AVAssetWriter::error() const {
    return NSError{impl_->core->error()};
}

void AVAssetWriter::finishWritingWithCompletionHandler(std::function<void()> handler) {
    impl_->finish(std::move(handler));
}

void AVAssetWriter::cancelWriting() {
    impl_->cancel();
}

std::string AVAssetWriter::videoEncoderName() const {
    return impl_->encoderName;
}

} // namespace vantrel
