#include "platform/camera/CaptureDevice.h"

#include "platform/camera/CameraListV4L2.h"
#include "platform/camera/FakeCamera.h"
#include "platform/audio/MicrophoneListPulse.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace vantrel {

namespace {

struct SharedLists {
    std::mutex mutex;
    std::shared_ptr<CaptureDeviceList> cameras;
    std::shared_ptr<CaptureDeviceList> microphones;
};

SharedLists& sharedLists() {
    static SharedLists lists;
    return lists;
}

std::shared_ptr<CaptureDeviceList> makeCameraList() {
    // The fake camera is only ever chosen by hand, for trying the app on a
    // machine without a camera; it then replaces the real cameras entirely.
    if (const char* fake = std::getenv(kFakeCameraEnvironmentVariable); fake && *fake) {
        auto list = std::make_shared<CaptureDeviceListFake>();
        list->setDevices({FakeCamera::device(FakeCameraFormat::parse(fake))});
        return list;
    }
    return std::make_shared<CameraListV4L2>();
}

} // namespace

int CaptureDeviceList::addChangeHandler(ChangeHandler handler) {
    handlers_.emplace_back(nextToken_, std::move(handler));
    return nextToken_++;
}

void CaptureDeviceList::removeChangeHandler(int token) {
    std::erase_if(handlers_, [token](const auto& entry) { return entry.first == token; });
}

void CaptureDeviceList::notifyChanged() {
    // A handler may add or remove handlers; run over a copy.
    const auto handlers = handlers_;
    for (const auto& [token, handler] : handlers)
        handler();
}

std::shared_ptr<CaptureDeviceList> CaptureDeviceList::shared(AVMediaType mediaType) {
    auto& lists = sharedLists();
    std::lock_guard guard(lists.mutex);
    if (mediaType == AVMediaType::video) {
        if (!lists.cameras) lists.cameras = makeCameraList();
        return lists.cameras;
    }
    if (!lists.microphones) lists.microphones = std::make_shared<MicrophoneListPulse>();
    return lists.microphones;
}

void CaptureDeviceList::setShared(AVMediaType mediaType, std::shared_ptr<CaptureDeviceList> list) {
    auto& lists = sharedLists();
    std::lock_guard guard(lists.mutex);
    (mediaType == AVMediaType::video ? lists.cameras : lists.microphones) = std::move(list);
}

std::optional<AVCaptureDevice> CaptureDeviceListFake::defaultDevice() const {
    if (defaultID_) {
        for (const auto& device : devices_)
            if (device.uniqueID == *defaultID_) return device;
        return std::nullopt;
    }
    if (devices_.empty()) return std::nullopt;
    return devices_.front();
}

void CaptureDeviceListFake::setDevices(std::vector<AVCaptureDevice> devices,
                                       std::optional<std::string> defaultID) {
    devices_ = std::move(devices);
    defaultID_ = std::move(defaultID);
    notifyChanged();
}

std::optional<AVCaptureDevice> AVCaptureDevice::deviceWithUniqueID(const std::string& uniqueID,
                                                                   AVMediaType mediaType) {
    for (auto& device : CaptureDeviceList::shared(mediaType)->devices())
        if (device.uniqueID == uniqueID) return device;
    return std::nullopt;
}

std::optional<AVCaptureDevice> AVCaptureDevice::defaultDeviceWithMediaType(AVMediaType mediaType) {
    return CaptureDeviceList::shared(mediaType)->defaultDevice();
}

} // namespace vantrel
