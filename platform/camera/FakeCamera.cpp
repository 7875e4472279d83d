#include "platform/camera/FakeCamera.h"

#include <cstdio>
#include <thread>

namespace vantrel {

namespace {

std::atomic<FakeCameraFault>& pendingFault() {
    static std::atomic<FakeCameraFault> fault{FakeCameraFault::none};
    return fault;
}

// BT.601 limited-range values, as a real webcam sends them.
constexpr uint8_t kWhiteY = 235, kBlackY = 16, kGreyY = 128, kNeutralUV = 128;
constexpr uint8_t kRedY = 81, kRedU = 90, kRedV = 240;
constexpr int kBarWidth = 16;
constexpr int kBarStep = 4; ///< pixels the bar moves per frame

} // namespace

FakeCameraFormat FakeCameraFormat::parse(const std::string& text) {
    FakeCameraFormat format;
    int width = 0, height = 0, rate = 0;
    const int read = std::sscanf(text.c_str(), "%dx%d@%d", &width, &height, &rate);
    // Even sizes only: YUYV pairs pixels.
    if (read >= 2 && width >= FakeCamera::kCounterBits * FakeCamera::kCounterBlock && height >= 32 &&
        width % 2 == 0) {
        format.width = width;
        format.height = height;
    }
    if (read == 3 && rate > 0 && rate <= 120) format.framesPerSecond = rate;
    return format;
}

std::string FakeCameraFormat::node() const {
    return "fake:" + std::to_string(width) + "x" + std::to_string(height) + "@" +
           std::to_string(framesPerSecond);
}

AVCaptureDevice FakeCamera::device(const FakeCameraFormat& format, int index) {
    AVCaptureDevice device;
    device.uniqueID = std::string(kUniqueIDPrefix) + "-" + std::to_string(index);
    device.localizedName =
        index == 0 ? "Vantrel Test Camera" : "Vantrel Test Camera " + std::to_string(index + 1);
    device.mediaType = AVMediaType::video;
    device.node = format.node();
    return device;
}

void FakeCamera::injectFault(FakeCameraFault fault) {
    pendingFault().store(fault);
}

FakeCamera::FakeCamera(FakeCameraFormat format)
    : offered_(format), format_{CameraPixelFormat::yuyv, format.width, format.height},
      frameInterval_(std::chrono::nanoseconds(1'000'000'000 / format.framesPerSecond)) {}

std::vector<CameraFormat> FakeCamera::supportedFormats() const {
    return {{CameraPixelFormat::yuyv, offered_.width, offered_.height}};
}

bool FakeCamera::configure(const CameraFormat& format, int maxFramesPerSecond, std::string& error) {
    if (format != supportedFormats().front()) {
        error = "The fake camera offers only YUYV at its own size";
        return false;
    }
    const int rate = std::min(offered_.framesPerSecond, std::max(1, maxFramesPerSecond));
    frameInterval_ = std::chrono::nanoseconds(1'000'000'000 / rate);
    format_ = format;
    return true;
}

bool FakeCamera::start(std::string& error) {
    FakeCameraFault busy = FakeCameraFault::busy;
    if (pendingFault().compare_exchange_strong(busy, FakeCameraFault::none)) {
        error = kBusyDescription;
        return false;
    }
    std::lock_guard guard(mutex_);
    woken_ = false;
    nextFrameTime_ = std::chrono::steady_clock::now();
    return true;
}

CameraReadResult FakeCamera::waitForFrame(int timeoutMs, const Consume& consume) {
    {
        std::unique_lock lock(mutex_);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        const auto until = std::min(deadline, nextFrameTime_);
        wakeup_.wait_until(lock, until, [this] { return woken_; });
        if (woken_) {
            woken_ = false;
            return {CameraReadStatus::woken, {}};
        }
        if (std::chrono::steady_clock::now() < nextFrameTime_) return {CameraReadStatus::timedOut, {}};
        nextFrameTime_ += frameInterval_;
        // A consumer that fell behind skips frames, as a real camera would.
        if (nextFrameTime_ < std::chrono::steady_clock::now())
            nextFrameTime_ = std::chrono::steady_clock::now();
    }
    // A fault meant for the next start stays for it.
    FakeCameraFault fault = pendingFault().load();
    if (fault != FakeCameraFault::busy) fault = pendingFault().exchange(FakeCameraFault::none);
    switch (fault) {
    case FakeCameraFault::unplug:
        return {CameraReadStatus::disconnected, {}};
    case FakeCameraFault::error:
        return {CameraReadStatus::failed, kErrorDescription};
    case FakeCameraFault::none:
    case FakeCameraFault::busy: // for the next start, which this one is not
        break;
    }
    frame_ = makeFrame(format_.width, format_.height, frameNumber_++);
    consume(CameraFrame{frame_.data(), frame_.size(), static_cast<size_t>(format_.width) * 2, format_});
    return {CameraReadStatus::frame, {}};
}

void FakeCamera::stop() {}

void FakeCamera::wake() {
    std::lock_guard guard(mutex_);
    woken_ = true;
    wakeup_.notify_all();
}

std::vector<uint8_t> FakeCamera::makeFrame(int width, int height, uint32_t number) {
    const size_t stride = static_cast<size_t>(width) * 2;
    std::vector<uint8_t> frame(stride * height);
    const int barX = static_cast<int>((number * kBarStep) % static_cast<uint32_t>(width));
    for (int y = 0; y < height; ++y) {
        uint8_t* row = frame.data() + y * stride;
        for (int x = 0; x < width; x += 2) {
            uint8_t luma = kGreyY, u = kNeutralUV, v = kNeutralUV;
            if (y < kCounterBlock && x < kCounterBits * kCounterBlock) {
                const int bit = kCounterBits - 1 - x / kCounterBlock;
                luma = (number >> bit) & 1 ? kWhiteY : kBlackY;
            } else if (y >= 2 * kCounterBlock && y < height / 4 && x < width / 4) {
                luma = kRedY, u = kRedU, v = kRedV;
            } else if (x >= barX && x < barX + kBarWidth) {
                luma = kWhiteY;
            }
            row[x * 2 + 0] = luma;
            row[x * 2 + 1] = u;
            row[x * 2 + 2] = luma;
            row[x * 2 + 3] = v;
        }
    }
    return frame;
}

} // namespace vantrel
