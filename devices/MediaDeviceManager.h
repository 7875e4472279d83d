#pragma once
// The cameras and microphones the user can choose from, current at all
// times: pickers bind to the two lists and follow plugging and unplugging.
// Opens nothing. Main thread only.

#include "platform/camera/CaptureDevice.h"

#include <QObject>
#include <memory>
#include <string>
#include <vector>

namespace vantrel {

class MediaDeviceManager final : public QObject {
    Q_OBJECT

public:
    /// Reads both lists and follows their changes. Null lists mean the
    /// system's (CaptureDeviceList::shared).
    MediaDeviceManager(std::shared_ptr<CaptureDeviceList> cameraDiscoverySession = nullptr,
                       std::shared_ptr<CaptureDeviceList> micDiscoverySession = nullptr);
    ~MediaDeviceManager() override;

    /// The one instance, made at first use on the system's lists.
    static std::shared_ptr<MediaDeviceManager> shared();
    static void setShared(std::shared_ptr<MediaDeviceManager> manager);

    const std::vector<AVCaptureDevice>& availableCameras() const { return availableCameras_; }
    const std::vector<AVCaptureDevice>& availableMics() const { return availableMics_; }

    /// Reads both lists and publishes them, the cameras first; each list
    /// emits its signal, also when nothing changed.
    void refreshDevices();

    /// The listed device with this identifier; otherwise (empty identifier,
    /// device gone) the system's default, which may be absent.
    std::optional<AVCaptureDevice> resolveCamera(const std::string& uniqueID) const;
    std::optional<AVCaptureDevice> resolveMicrophone(const std::string& uniqueID) const;

signals:
    void availableCamerasChanged();
    void availableMicsChanged();

private:
    static std::optional<AVCaptureDevice> resolve(const std::vector<AVCaptureDevice>& list,
                                                  const CaptureDeviceList& session,
                                                  const std::string& uniqueID);

    std::vector<AVCaptureDevice> availableCameras_;
    std::vector<AVCaptureDevice> availableMics_;
    std::shared_ptr<CaptureDeviceList> cameraDiscoverySession_;
    std::shared_ptr<CaptureDeviceList> micDiscoverySession_;
    std::vector<int> cancellables_;
};

} // namespace vantrel
