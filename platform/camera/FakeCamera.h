#pragma once
// A camera that is not there: generated YUYV frames (a bar that moves one
// step a frame over a grey field with a red patch in the top-left corner,
// and the frame number as 16 black or white blocks along the top edge) at a
// chosen size and rate. Tests use it, and anyone can try Vantrel on a
// machine without a camera by setting VANTREL_FAKE_CAMERA (README.md); the
// app never picks it otherwise.

#include "platform/camera/CameraStream.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace vantrel {

inline constexpr const char* kFakeCameraEnvironmentVariable = "VANTREL_FAKE_CAMERA";

struct FakeCameraFormat {
    int width = 640;
    int height = 480;
    int framesPerSecond = 30;

    /// "WxH@FPS", "WxH", or anything else (such as "1") for the defaults.
    static FakeCameraFormat parse(const std::string& text);
    std::string node() const;
};

/// What the next waitForFrame of every running fake camera reports instead of
/// a frame; `busy` makes the next start fail instead, as a camera that another
/// program holds does.
enum class FakeCameraFault { none, unplug, error, busy };

class FakeCamera final : public CameraStream {
public:
    static constexpr int kCounterBits = 16;
    static constexpr int kCounterBlock = 8; ///< side of one counter block, in pixels
    static constexpr const char* kUniqueIDPrefix = "vantrel-fake-camera";
    static constexpr const char* kErrorDescription = "The fake camera reported an error";
    static constexpr const char* kBusyDescription = "The fake camera is busy";

    /// The device the lists show for this format.
    static AVCaptureDevice device(const FakeCameraFormat& format, int index = 0);
    /// Makes every running fake camera fail at its next frame.
    static void injectFault(FakeCameraFault fault);

    explicit FakeCamera(FakeCameraFormat format);

    std::vector<CameraFormat> supportedFormats() const override;
    bool configure(const CameraFormat& format, int maxFramesPerSecond, std::string& error) override;
    CameraFormat format() const override { return format_; }
    bool start(std::string& error) override;
    CameraReadResult waitForFrame(int timeoutMs, const Consume& consume) override;
    void stop() override;
    void wake() override;

    /// The YUYV picture of frame `number` at this size, as the camera sends it.
    static std::vector<uint8_t> makeFrame(int width, int height, uint32_t number);

private:
    FakeCameraFormat offered_;
    CameraFormat format_;
    std::chrono::nanoseconds frameInterval_;
    std::chrono::steady_clock::time_point nextFrameTime_;
    uint32_t frameNumber_ = 0;
    std::vector<uint8_t> frame_;
    std::mutex mutex_;
    std::condition_variable wakeup_;
    bool woken_ = false;
};

} // namespace vantrel
