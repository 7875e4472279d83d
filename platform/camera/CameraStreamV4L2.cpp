#include "platform/camera/CameraStreamV4L2.h"

#include "platform/camera/FakeCamera.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace vantrel {

namespace {

int xioctl(int fd, unsigned long request, void* argument) {
    int result;
    do
        result = ::ioctl(fd, request, argument);
    while (result < 0 && errno == EINTR);
    return result;
}

std::string failure(const std::string& what, const std::string& node) {
    return what + " " + node + ": " + std::strerror(errno);
}

std::optional<CameraPixelFormat> pixelFormat(uint32_t fourcc) {
    switch (fourcc) {
    case V4L2_PIX_FMT_YUYV:
        return CameraPixelFormat::yuyv;
    case V4L2_PIX_FMT_NV12:
        return CameraPixelFormat::nv12;
    case V4L2_PIX_FMT_MJPEG:
    case V4L2_PIX_FMT_JPEG:
        return CameraPixelFormat::mjpeg;
    default:
        return std::nullopt;
    }
}

uint32_t fourcc(CameraPixelFormat format) {
    switch (format) {
    case CameraPixelFormat::yuyv:
        return V4L2_PIX_FMT_YUYV;
    case CameraPixelFormat::nv12:
        return V4L2_PIX_FMT_NV12;
    case CameraPixelFormat::mjpeg:
        return V4L2_PIX_FMT_MJPEG;
    }
    return 0;
}

/// The sizes a format offers; of a stepwise range, its ends and the medium
/// size clamped into it, which is all the choice needs.
std::vector<CameraFormat> sizesOf(int fd, uint32_t code, CameraPixelFormat format) {
    std::vector<CameraFormat> sizes;
    v4l2_frmsizeenum size{};
    size.pixel_format = code;
    for (size.index = 0; xioctl(fd, VIDIOC_ENUM_FRAMESIZES, &size) == 0; ++size.index) {
        if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            sizes.push_back({format, int(size.discrete.width), int(size.discrete.height)});
            continue;
        }
        const auto& s = size.stepwise;
        auto clampTo = [](uint32_t wanted, uint32_t lo, uint32_t hi, uint32_t step) {
            const uint32_t clamped = std::clamp(wanted, lo, hi);
            return int(step > 1 ? lo + (clamped - lo) / step * step : clamped);
        };
        sizes.push_back({format, int(s.min_width), int(s.min_height)});
        sizes.push_back({format, clampTo(640, s.min_width, s.max_width, s.step_width),
                         clampTo(480, s.min_height, s.max_height, s.step_height)});
        sizes.push_back({format, int(s.max_width), int(s.max_height)});
        break; // a stepwise range is the only entry
    }
    return sizes;
}

} // namespace

std::optional<CameraFormat> chooseCameraFormat(const std::vector<CameraFormat>& offered, int wantedWidth,
                                               int wantedHeight) {
    const long wantedArea = long(wantedWidth) * wantedHeight;
    auto cost = [&](const CameraFormat& f) {
        // Nearest area, then nearest width, then uncompressed before MJPEG,
        // which costs a decode per frame.
        return std::make_tuple(std::labs(long(f.width) * f.height - wantedArea),
                               std::abs(f.width - wantedWidth), f.pixelFormat == CameraPixelFormat::mjpeg);
    };
    const auto best = std::min_element(offered.begin(), offered.end(),
                                       [&](const auto& a, const auto& b) { return cost(a) < cost(b); });
    if (best == offered.end()) return std::nullopt;
    return *best;
}

std::unique_ptr<CameraStream> CameraStream::open(const AVCaptureDevice& device, std::string& error) {
    if (device.node.rfind("fake:", 0) == 0)
        return std::make_unique<FakeCamera>(FakeCameraFormat::parse(device.node.substr(5)));
    return CameraStreamV4L2::open(device.node, error);
}

std::unique_ptr<CameraStreamV4L2> CameraStreamV4L2::open(const std::string& node, std::string& error) {
    const int fd = ::open(node.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        error = failure("Cannot open", node);
        return nullptr;
    }
    v4l2_capability capability{};
    if (xioctl(fd, VIDIOC_QUERYCAP, &capability) < 0) {
        error = node + " is not a V4L2 device";
        ::close(fd);
        return nullptr;
    }
    const uint32_t caps =
        (capability.capabilities & V4L2_CAP_DEVICE_CAPS) ? capability.device_caps : capability.capabilities;
    if (!(caps & V4L2_CAP_VIDEO_CAPTURE) || !(caps & V4L2_CAP_STREAMING)) {
        error = node + " cannot stream video";
        ::close(fd);
        return nullptr;
    }
    const int wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeFd < 0) {
        error = failure("Cannot wait on", node);
        ::close(fd);
        return nullptr;
    }
    std::unique_ptr<CameraStreamV4L2> stream(new CameraStreamV4L2(node, fd, wakeFd));
    v4l2_fmtdesc description{};
    description.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    for (description.index = 0; xioctl(fd, VIDIOC_ENUM_FMT, &description) == 0; ++description.index)
        if (auto format = pixelFormat(description.pixelformat)) {
            auto sizes = sizesOf(fd, description.pixelformat, *format);
            stream->formats_.insert(stream->formats_.end(), sizes.begin(), sizes.end());
        }
    return stream;
}

CameraStreamV4L2::CameraStreamV4L2(std::string node, int fd, int wakeFd)
    : node_(std::move(node)), fd_(fd), wakeFd_(wakeFd) {}

CameraStreamV4L2::~CameraStreamV4L2() {
    stop();
    ::close(wakeFd_);
    ::close(fd_);
}

bool CameraStreamV4L2::configure(const CameraFormat& format, int maxFramesPerSecond, std::string& error) {
    v4l2_format f{};
    f.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    f.fmt.pix.width = format.width;
    f.fmt.pix.height = format.height;
    f.fmt.pix.pixelformat = fourcc(format.pixelFormat);
    f.fmt.pix.field = V4L2_FIELD_NONE;
    if (xioctl(fd_, VIDIOC_S_FMT, &f) < 0) {
        error = failure("Cannot set the format of", node_);
        return false;
    }
    // The driver may adjust what it was asked for; what it set is what comes.
    const auto set = pixelFormat(f.fmt.pix.pixelformat);
    if (!set) {
        error = node_ + " chose a pixel format we cannot convert";
        return false;
    }
    format_ = {*set, int(f.fmt.pix.width), int(f.fmt.pix.height)};
    bytesPerLine_ = f.fmt.pix.bytesperline;
    if (bytesPerLine_ == 0 && format_.pixelFormat != CameraPixelFormat::mjpeg)
        bytesPerLine_ = size_t(format_.width) * (format_.pixelFormat == CameraPixelFormat::yuyv ? 2 : 1);

    // At most this rate; a camera that cannot choose keeps its own.
    v4l2_streamparm parameters{};
    parameters.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (xioctl(fd_, VIDIOC_G_PARM, &parameters) == 0 &&
        (parameters.parm.capture.capability & V4L2_CAP_TIMEPERFRAME)) {
        parameters.parm.capture.timeperframe = {1, uint32_t(std::max(1, maxFramesPerSecond))};
        xioctl(fd_, VIDIOC_S_PARM, &parameters);
    }
    return true;
}

bool CameraStreamV4L2::start(std::string& error) {
    v4l2_requestbuffers request{};
    request.count = kBufferCount;
    request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request.memory = V4L2_MEMORY_MMAP;
    if (xioctl(fd_, VIDIOC_REQBUFS, &request) < 0 || request.count == 0) {
        error = failure("Cannot get buffers of", node_);
        return false;
    }
    for (uint32_t index = 0; index < request.count; ++index) {
        v4l2_buffer buffer{};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        buffer.index = index;
        if (xioctl(fd_, VIDIOC_QUERYBUF, &buffer) < 0) break;
        void* start =
            ::mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, buffer.m.offset);
        if (start == MAP_FAILED) break;
        buffers_.push_back({start, buffer.length});
        if (xioctl(fd_, VIDIOC_QBUF, &buffer) < 0) break;
    }
    if (buffers_.size() != request.count) {
        error = failure("Cannot map the buffers of", node_);
        releaseBuffers();
        return false;
    }
    int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (xioctl(fd_, VIDIOC_STREAMON, &type) < 0) {
        error = failure("Cannot start streaming from", node_);
        releaseBuffers();
        return false;
    }
    streaming_ = true;
    return true;
}

CameraReadResult CameraStreamV4L2::waitForFrame(int timeoutMs, const Consume& consume) {
    pollfd fds[2] = {{fd_, POLLIN, 0}, {wakeFd_, POLLIN, 0}};
    const int ready = ::poll(fds, 2, timeoutMs);
    if (ready < 0)
        return {errno == EINTR ? CameraReadStatus::timedOut : CameraReadStatus::failed, std::strerror(errno)};
    if (fds[1].revents & POLLIN) {
        uint64_t count;
        [[maybe_unused]] auto read = ::read(wakeFd_, &count, sizeof count);
        return {CameraReadStatus::woken, {}};
    }
    if (ready == 0) return {CameraReadStatus::timedOut, {}};

    v4l2_buffer buffer{};
    buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffer.memory = V4L2_MEMORY_MMAP;
    if (xioctl(fd_, VIDIOC_DQBUF, &buffer) < 0) {
        if (errno == EAGAIN) return {CameraReadStatus::timedOut, {}};
        if (errno == ENODEV) return {CameraReadStatus::disconnected, {}};
        return {CameraReadStatus::failed, failure("Cannot take a frame from", node_)};
    }
    // A frame the driver marks as damaged is handed back unseen.
    if (!(buffer.flags & V4L2_BUF_FLAG_ERROR) && buffer.index < buffers_.size() && buffer.bytesused > 0)
        consume(CameraFrame{static_cast<const uint8_t*>(buffers_[buffer.index].start), buffer.bytesused,
                            bytesPerLine_, format_});
    if (xioctl(fd_, VIDIOC_QBUF, &buffer) < 0) {
        if (errno == ENODEV) return {CameraReadStatus::disconnected, {}};
        return {CameraReadStatus::failed, failure("Cannot give a buffer back to", node_)};
    }
    return {CameraReadStatus::frame, {}};
}

void CameraStreamV4L2::stop() {
    if (streaming_) {
        int type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        xioctl(fd_, VIDIOC_STREAMOFF, &type);
        streaming_ = false;
    }
    releaseBuffers();
}

void CameraStreamV4L2::releaseBuffers() {
    for (const auto& buffer : buffers_)
        ::munmap(buffer.start, buffer.length);
    if (!buffers_.empty()) {
        v4l2_requestbuffers request{};
        request.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        request.memory = V4L2_MEMORY_MMAP;
        xioctl(fd_, VIDIOC_REQBUFS, &request);
    }
    buffers_.clear();
}

void CameraStreamV4L2::wake() {
    const uint64_t one = 1;
    [[maybe_unused]] auto written = ::write(wakeFd_, &one, sizeof one);
}

} // namespace vantrel
