#include "platform/capture/ScreenCaptureServiceLinux.h"

#include <mutex>

namespace vantrel {

namespace {

std::mutex& serviceMutex() {
    static std::mutex mutex;
    return mutex;
}

std::shared_ptr<ScreenCaptureService>& serviceSlot() {
    static std::shared_ptr<ScreenCaptureService> service;
    return service;
}

} // namespace

std::shared_ptr<ScreenCaptureService> ScreenCaptureService::shared() {
    std::lock_guard lock(serviceMutex());
    auto& service = serviceSlot();
    if (!service) service = std::make_shared<ScreenCaptureServiceLinux>();
    return service;
}

void ScreenCaptureService::setShared(std::shared_ptr<ScreenCaptureService> service) {
    std::lock_guard lock(serviceMutex());
    serviceSlot() = std::move(service);
}

} // namespace vantrel
