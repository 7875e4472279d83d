#include "MediaDeviceManager.h"

#include "platform/core/SharedInstance.h"
#include "platform/core/WeakClosure.h"

namespace vantrel {

MediaDeviceManager::MediaDeviceManager(std::shared_ptr<CaptureDeviceList> cameraDiscoverySession,
                                       std::shared_ptr<CaptureDeviceList> micDiscoverySession)
    : cameraDiscoverySession_(cameraDiscoverySession ? std::move(cameraDiscoverySession)
                                                     : CaptureDeviceList::shared(AVMediaType::video)),
      micDiscoverySession_(micDiscoverySession ? std::move(micDiscoverySession)
                                               : CaptureDeviceList::shared(AVMediaType::audio)) {
    refreshDevices();
    // The lists call on the main thread; the handlers hold this object weakly.
    auto refresh = weakly(this, [](MediaDeviceManager& manager) { manager.refreshDevices(); });
    cancellables_.push_back(cameraDiscoverySession_->addChangeHandler(refresh));
    cancellables_.push_back(micDiscoverySession_->addChangeHandler(refresh));
}

MediaDeviceManager::~MediaDeviceManager() {
    cameraDiscoverySession_->removeChangeHandler(cancellables_[0]);
    micDiscoverySession_->removeChangeHandler(cancellables_[1]);
}

std::shared_ptr<MediaDeviceManager> MediaDeviceManager::shared() {
    return SharedInstance<MediaDeviceManager>::getOrMake([] { return std::make_shared<MediaDeviceManager>(); });
}

void MediaDeviceManager::setShared(std::shared_ptr<MediaDeviceManager> manager) {
    SharedInstance<MediaDeviceManager>::set(std::move(manager));
}

void MediaDeviceManager::refreshDevices() {
    availableCameras_ = cameraDiscoverySession_->devices();
    emit availableCamerasChanged();
    availableMics_ = micDiscoverySession_->devices();
    emit availableMicsChanged();
}

std::optional<AVCaptureDevice> MediaDeviceManager::resolve(const std::vector<AVCaptureDevice>& list,
                                                           const CaptureDeviceList& session,
                                                           const std::string& uniqueID) {
    if (!uniqueID.empty())
        for (const auto& device : list)
            if (device.uniqueID == uniqueID) return device;
    return session.defaultDevice();
}

std::optional<AVCaptureDevice> MediaDeviceManager::resolveCamera(const std::string& uniqueID) const {
    return resolve(availableCameras_, *cameraDiscoverySession_, uniqueID);
}

std::optional<AVCaptureDevice> MediaDeviceManager::resolveMicrophone(const std::string& uniqueID) const {
    return resolve(availableMics_, *micDiscoverySession_, uniqueID);
}

} // namespace vantrel
