#pragma once
// Cameras from V4L2: the /dev/video* nodes whose driver can capture video
// (the metadata nodes most webcams expose beside their picture node are left
// out), named by the driver's card name and identified by their
// /dev/v4l/by-id/ link, which survives replugging, or else by their bus info.
// Nodes come in the order of their numbers; the default camera is the first.
// Hot-plug: a libudev monitor of the `video4linux` subsystem on a thread of
// its own; each event re-reads the nodes and tells the main thread.

#include "platform/camera/CaptureDevice.h"

#include <atomic>
#include <filesystem>
#include <mutex>
#include <thread>

namespace vantrel {

/// The capture nodes under `deviceDirectory` ("video*") with the links of
/// `byIdDirectory`. A node that cannot be opened or queried is left out.
std::vector<AVCaptureDevice> enumerateV4L2Cameras(const std::filesystem::path& deviceDirectory,
                                                  const std::filesystem::path& byIdDirectory);

class CameraListV4L2 final : public CaptureDeviceList {
public:
    /// Reads the nodes at once and starts watching udev (when `watchHotPlug`).
    explicit CameraListV4L2(std::filesystem::path deviceDirectory = "/dev",
                            std::filesystem::path byIdDirectory = "/dev/v4l/by-id", bool watchHotPlug = true);
    ~CameraListV4L2() override;

    std::vector<AVCaptureDevice> devices() const override;
    std::optional<AVCaptureDevice> defaultDevice() const override;

    /// Reads the nodes again and, on the main thread, runs the handlers.
    void rescan();

private:
    struct Anchor {
        CameraListV4L2* owner;
    };
    void watch(int stopFd);

    std::filesystem::path deviceDirectory_;
    std::filesystem::path byIdDirectory_;
    mutable std::mutex mutex_;
    std::vector<AVCaptureDevice> cameras_;
    std::shared_ptr<Anchor> anchor_;
    int stopFd_ = -1;
    std::thread watcher_;
};

} // namespace vantrel
