#include "shell/dashboard/DashboardViewModel.h"

#include "devices/MediaDeviceManager.h"
#include "platform/runtime/Workspace.h"
#include "settings/AppSettings.h"
#include "settings/PermissionsManager.h"
#include "shell/dashboard/DashboardDemos.h"
#include "shell/dashboard/DeviceMenu.h"

#include <QCoreApplication>
#include <QPointer>

namespace vantrel {

namespace {

const char* settingsURL(DashboardPermission permission) {
    switch (permission) {
    case DashboardPermission::microphone:
        return PermissionsManager::kMicrophoneSettingsURL;
    case DashboardPermission::camera:
        return PermissionsManager::kCameraSettingsURL;
    case DashboardPermission::accessibility:
        return PermissionsManager::kAccessibilitySettingsURL;
    }
    return "";
}

constexpr int kAuthorized = 3, kNotDetermined = 0;

} // namespace

DashboardViewModel::DashboardViewModel(std::shared_ptr<AppSettings> settings,
                                       std::shared_ptr<MediaDeviceManager> devices, Services services,
                                       QObject* parent)
    : QObject(parent), settings_(std::move(settings)), devices_(std::move(devices)),
      services_(std::move(services)) {
    if (!services_.openURL) services_.openURL = &NSWorkspace::openURL;
    AppSettings* s = settings_.get();
    // A switch flipped under the pointer changes the caption at once.
    const std::pair<void (AppSettings::*)(), const char*> captions[] = {
        {&AppSettings::enableAutoZoomChanged, "autoZoom"},
        {&AppSettings::enableSystemAudioChanged, "systemAudio"},
        {&AppSettings::enableMicAudioChanged, "microphone"},
        {&AppSettings::showKeystrokesChanged, "keystrokes"},
        {&AppSettings::showMouseClicksChanged, "mouseClicks"},
        {&AppSettings::enableCursorFollowTextChanged, "cursorText"},
        {&AppSettings::showWebcamChanged, "webcam"},
    };
    for (const auto& [signal, feature] : captions)
        connect(s, signal, this,
                [this, feature = QString::fromLatin1(feature)] { refreshDemoCaption(feature); });

    connect(s, &AppSettings::showWebcamChanged, this, [this] {
        if (settings_->showWebcam())
            startPreview();
        else if (services_.previewCamera->isCapturing())
            services_.previewCamera->stopCapture();
    });
    connect(s, &AppSettings::selectedCameraIDChanged, this, [this] {
        emit devicesChanged();
        if (!settings_->showWebcam()) return;
        if (services_.previewCamera->isCapturing()) services_.previewCamera->stopCapture();
        // The old stream needs a moment to let the device go.
        QPointer<DashboardViewModel> self(this);
        services_.delays->after(kCameraRestartDelay, [self] {
            if (self) self->startPreview();
        });
    });
    connect(s, &AppSettings::selectedMicIDChanged, this, &DashboardViewModel::devicesChanged);
    connect(s, &AppSettings::keystrokeDisplayModeChanged, this, &DashboardViewModel::displayChoicesChanged);
    connect(s, &AppSettings::webcamPositionChanged, this, &DashboardViewModel::displayChoicesChanged);
    if (devices_) {
        connect(devices_.get(), &MediaDeviceManager::availableCamerasChanged, this,
                &DashboardViewModel::devicesChanged);
        connect(devices_.get(), &MediaDeviceManager::availableMicsChanged, this,
                &DashboardViewModel::devicesChanged);
    }
}

DashboardViewModel::~DashboardViewModel() {
    cancelDemoTask();
}

QObject* DashboardViewModel::settingsObject() const {
    return settings_.get();
}

bool DashboardViewModel::featureValue(const QString& feature) const {
    if (feature == QLatin1String("autoZoom")) return settings_->enableAutoZoom();
    if (feature == QLatin1String("systemAudio")) return settings_->enableSystemAudio();
    if (feature == QLatin1String("microphone")) return settings_->enableMicAudio();
    if (feature == QLatin1String("keystrokes")) return settings_->showKeystrokes();
    if (feature == QLatin1String("mouseClicks")) return settings_->showMouseClicks();
    if (feature == QLatin1String("cursorText")) return settings_->enableCursorFollowText();
    if (feature == QLatin1String("webcam")) return settings_->showWebcam();
    return false;
}

void DashboardViewModel::writeFeature(const QString& feature, bool on) {
    if (feature == QLatin1String("autoZoom"))
        settings_->setEnableAutoZoom(on);
    else if (feature == QLatin1String("systemAudio"))
        settings_->setEnableSystemAudio(on);
    else if (feature == QLatin1String("microphone"))
        settings_->setEnableMicAudio(on);
    else if (feature == QLatin1String("keystrokes"))
        settings_->setShowKeystrokes(on);
    else if (feature == QLatin1String("mouseClicks"))
        settings_->setShowMouseClicks(on);
    else if (feature == QLatin1String("cursorText"))
        settings_->setEnableCursorFollowText(on);
    else if (feature == QLatin1String("webcam"))
        settings_->setShowWebcam(on);
}

void DashboardViewModel::setFeature(const QString& feature, bool on) {
    if (!on || feature == QLatin1String("autoZoom") || feature == QLatin1String("systemAudio")) {
        writeFeature(feature, on);
    } else if (feature == QLatin1String("microphone")) {
        switchOnWithMediaAccess(DashboardPermission::microphone, feature);
    } else if (feature == QLatin1String("webcam")) {
        switchOnWithMediaAccess(DashboardPermission::camera, feature);
    } else if (services_.permissions->isAccessibilityTrusted()) {
        writeFeature(feature, true);
    } else {
        offerSettings(DashboardPermission::accessibility);
    }
}

void DashboardViewModel::switchOnWithMediaAccess(DashboardPermission media, const QString& feature) {
    const int status = services_.permissions->authorizationStatus(media);
    if (status == kAuthorized) {
        writeFeature(feature, true);
    } else if (status == kNotDetermined) {
        QPointer<DashboardViewModel> self(this);
        services_.permissions->requestAccess(media, [self, feature](bool granted) {
            if (self && granted) self->writeFeature(feature, true);
        });
    } else {
        offerSettings(media);
    }
}

void DashboardViewModel::offerSettings(DashboardPermission permission) {
    // The answer comes after the window may have gone: the opener is copied, not reached through this.
    services_.permissions->runPermissionAlert(permission,
                                              [open = services_.openURL, permission](bool openSettings) {
                                                  if (openSettings) open(settingsURL(permission));
                                              });
}

void DashboardViewModel::selectMicrophone(const QString& uniqueID) {
    settings_->setSelectedMicID(uniqueID);
}

void DashboardViewModel::selectCamera(const QString& uniqueID) {
    settings_->setSelectedCameraID(uniqueID);
}

void DashboardViewModel::startRecording() {
    services_.recording->toggleRecording();
}

void DashboardViewModel::cancelDemoTask() {
    if (demoTask_) demoTask_->cancel();
    demoTask_.reset();
}

void DashboardViewModel::playDemo(const QString& target) {
    const DashboardDemo* demo = dashboardDemo(target);
    if (!demo) return;
    cancelDemoTask();
    const bool on = featureValue(target);
    demoTitle_ = QString::fromUtf8(on || !demo->settingWord ? demo->titleOn : demo->titleOff);
    demoIcon_ = QString::fromLatin1(on ? demo->iconOn : demo->iconOff);
    demoDescription_ = QCoreApplication::translate("DashboardViewModel", demo->description);
    const QString video = QString::fromLatin1(demo->video);
    if (demoPlayer_ && demoPlayer_->currentFileName() == video + QLatin1String(".mp4")) {
        demoPlayer_->play(); // the same loop goes on where it was
    } else {
        if (demoPlayer_) demoPlayer_->pause();
        demoPlayer_ = services_.demoPlayers->make(video);
        demoVideo_ = demoPlayer_ ? video : QString();
        if (demoPlayer_) demoPlayer_->play();
    }
    isShowingDemo_ = true;
    emit demoChanged();
}

void DashboardViewModel::hideDemo() {
    cancelDemoTask();
    // Moving to the next tile within the first pause never closes the panel;
    // coming back within the fade keeps the player and its place in the loop.
    QPointer<DashboardViewModel> self(this);
    demoTask_ = services_.delays->after(kHideDelay, [self] {
        if (!self) return;
        self->isShowingDemo_ = false;
        emit self->demoChanged();
        self->demoTask_ = self->services_.delays->after(kHideDuration, [self] {
            if (!self) return;
            if (self->demoPlayer_) self->demoPlayer_->pause();
            self->demoPlayer_.reset();
            self->demoVideo_.clear();
            self->demoTask_.reset();
            emit self->demoChanged();
        });
    });
}

void DashboardViewModel::refreshDemoCaption(const QString& feature) {
    const DashboardDemo* demo = dashboardDemo(feature);
    if (!isShowingDemo_ || !demo || !demoTitle_.contains(QLatin1String(demo->settingWord))) return;
    const bool on = featureValue(feature);
    demoTitle_ = QString::fromUtf8(on ? demo->titleOn : demo->titleOff);
    if (feature == QLatin1String("webcam"))
        demoIcon_ = QString::fromLatin1(on ? demo->iconOn : demo->iconOff);
    emit demoChanged();
}

void DashboardViewModel::startPreview() {
    if (settings_->showWebcam() && !services_.previewCamera->isCapturing())
        services_.previewCamera->startCapture(settings_->selectedCameraID());
}

void DashboardViewModel::appear() {
    startPreview();
}

void DashboardViewModel::disappear() {
    if (services_.previewCamera->isCapturing()) services_.previewCamera->stopCapture();
    if (demoPlayer_) demoPlayer_->pause();
    cancelDemoTask();
}

QString DashboardViewModel::microphoneLabel() const {
    return deviceMenuLabel(settings_->selectedMicID(),
                           devices_ ? devices_->availableMics() : std::vector<AVCaptureDevice>{});
}

QString DashboardViewModel::cameraLabel() const {
    return deviceMenuLabel(settings_->selectedCameraID(),
                           devices_ ? devices_->availableCameras() : std::vector<AVCaptureDevice>{});
}

QVariantList DashboardViewModel::microphones() const {
    return deviceMenuEntries(devices_ ? devices_->availableMics() : std::vector<AVCaptureDevice>{});
}

QVariantList DashboardViewModel::cameras() const {
    return deviceMenuEntries(devices_ ? devices_->availableCameras() : std::vector<AVCaptureDevice>{});
}

int DashboardViewModel::keystrokeDisplayMode() const {
    return static_cast<int>(settings_->keystrokeDisplayMode());
}

void DashboardViewModel::setKeystrokeDisplayMode(int mode) {
    if (mode == static_cast<int>(KeystrokeDisplayMode::all) ||
        mode == static_cast<int>(KeystrokeDisplayMode::shortcutsOnly))
        settings_->setKeystrokeDisplayMode(static_cast<KeystrokeDisplayMode>(mode));
}

int DashboardViewModel::webcamPosition() const {
    return static_cast<int>(settings_->webcamPosition());
}

void DashboardViewModel::setWebcamPosition(int position) {
    if (position >= static_cast<int>(WebcamPosition::topLeft) &&
        position <= static_cast<int>(WebcamPosition::bottomRight))
        settings_->setWebcamPosition(static_cast<WebcamPosition>(position));
}

} // namespace vantrel
