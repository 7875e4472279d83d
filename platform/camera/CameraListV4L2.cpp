#include "platform/camera/CameraListV4L2.h"

#include "platform/runtime/DispatchQueue.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <libudev.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace vantrel {

namespace {

/// "video12" → 12; anything else → -1.
int nodeNumber(const std::string& name) {
    if (name.rfind("video", 0) != 0 || name.size() == 5) return -1;
    const auto digits = name.substr(5);
    if (!std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) return -1;
    return std::stoi(digits);
}

/// The by-id link that points at `node`, if any.
std::string byIdName(const fs::path& node, const fs::path& byIdDirectory) {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(byIdDirectory, error)) {
        std::error_code linkError;
        if (fs::equivalent(entry.path(), node, linkError)) return entry.path().filename().string();
    }
    return {};
}

std::optional<AVCaptureDevice> probe(const fs::path& node, const fs::path& byIdDirectory) {
    const int fd = ::open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    v4l2_capability capability{};
    const bool queried = ::ioctl(fd, VIDIOC_QUERYCAP, &capability) == 0;
    ::close(fd);
    if (!queried) return std::nullopt;
    // device_caps describes this node; capabilities the whole device.
    const uint32_t caps =
        (capability.capabilities & V4L2_CAP_DEVICE_CAPS) ? capability.device_caps : capability.capabilities;
    if (!(caps & V4L2_CAP_VIDEO_CAPTURE) || !(caps & V4L2_CAP_STREAMING)) return std::nullopt;

    AVCaptureDevice device;
    device.mediaType = AVMediaType::video;
    device.node = node.string();
    device.localizedName = reinterpret_cast<const char*>(capability.card);
    device.uniqueID = byIdName(node, byIdDirectory);
    if (device.uniqueID.empty()) device.uniqueID = reinterpret_cast<const char*>(capability.bus_info);
    if (device.uniqueID.empty()) device.uniqueID = device.node;
    return device;
}

} // namespace

std::vector<AVCaptureDevice> enumerateV4L2Cameras(const fs::path& deviceDirectory,
                                                  const fs::path& byIdDirectory) {
    std::vector<std::pair<int, fs::path>> nodes;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(deviceDirectory, error)) {
        const int number = nodeNumber(entry.path().filename().string());
        if (number >= 0) nodes.emplace_back(number, entry.path());
    }
    std::sort(nodes.begin(), nodes.end());

    std::vector<AVCaptureDevice> cameras;
    for (const auto& [number, node] : nodes)
        if (auto device = probe(node, byIdDirectory)) cameras.push_back(std::move(*device));
    return cameras;
}

CameraListV4L2::CameraListV4L2(fs::path deviceDirectory, fs::path byIdDirectory, bool watchHotPlug)
    : deviceDirectory_(std::move(deviceDirectory)), byIdDirectory_(std::move(byIdDirectory)),
      cameras_(enumerateV4L2Cameras(deviceDirectory_, byIdDirectory_)),
      anchor_(std::make_shared<Anchor>(Anchor{this})) {
    if (!watchHotPlug) return;
    stopFd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (stopFd_ >= 0) watcher_ = std::thread([this] { watch(stopFd_); });
}

CameraListV4L2::~CameraListV4L2() {
    if (watcher_.joinable()) {
        const uint64_t one = 1;
        [[maybe_unused]] auto written = ::write(stopFd_, &one, sizeof one);
        watcher_.join();
    }
    if (stopFd_ >= 0) ::close(stopFd_);
}

std::vector<AVCaptureDevice> CameraListV4L2::devices() const {
    std::lock_guard guard(mutex_);
    return cameras_;
}

std::optional<AVCaptureDevice> CameraListV4L2::defaultDevice() const {
    std::lock_guard guard(mutex_);
    if (cameras_.empty()) return std::nullopt;
    return cameras_.front();
}

void CameraListV4L2::rescan() {
    auto cameras = enumerateV4L2Cameras(deviceDirectory_, byIdDirectory_);
    {
        std::lock_guard guard(mutex_);
        cameras_ = std::move(cameras);
    }
    DispatchQueue::main().async([anchor = std::weak_ptr<Anchor>(anchor_)] {
        if (auto strong = anchor.lock()) strong->owner->notifyChanged();
    });
}

void CameraListV4L2::watch(int stopFd) {
    udev* context = udev_new();
    udev_monitor* monitor = context ? udev_monitor_new_from_netlink(context, "udev") : nullptr;
    if (!monitor || udev_monitor_filter_add_match_subsystem_devtype(monitor, "video4linux", nullptr) < 0 ||
        udev_monitor_enable_receiving(monitor) < 0) {
        // Without udev there is no hot-plug; the list read at start stays.
        std::printf("⚠️ Camera hot-plug is not available (udev)\n");
        std::fflush(stdout);
        if (monitor) udev_monitor_unref(monitor);
        if (context) udev_unref(context);
        return;
    }
    pollfd fds[2] = {{udev_monitor_get_fd(monitor), POLLIN, 0}, {stopFd, POLLIN, 0}};
    while (::poll(fds, 2, -1) >= 0 || errno == EINTR) {
        if (fds[1].revents) break;
        if (!(fds[0].revents & POLLIN)) continue;
        if (udev_device* device = udev_monitor_receive_device(monitor)) {
            udev_device_unref(device);
            // The by-id links are made by udev rules a moment after the
            // node; the event itself comes after them, so one read suffices.
            rescan();
        }
    }
    udev_monitor_unref(monitor);
    udev_unref(context);
}

} // namespace vantrel
