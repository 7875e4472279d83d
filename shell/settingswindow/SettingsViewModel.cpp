#include "shell/settingswindow/SettingsViewModel.h"

#include "devices/DisplayManager.h"
#include "devices/MediaDeviceManager.h"
#include "settings/AppSettings.h"
#include "shell/dashboard/DeviceMenu.h"

#include <QVariantMap>
#include <algorithm>

namespace vantrel {

namespace {

template <typename Enum, size_t N> int indexOf(const std::array<Enum, N>& cases, Enum value) {
    return static_cast<int>(std::ranges::find(cases, value) - cases.begin());
}

int indexOfID(const QVariantList& entries, const QVariant& id) {
    for (int i = 0; i < entries.size(); ++i)
        if (entries[i].toMap().value("id") == id) return i;
    return -1;
}

} // namespace

SettingsViewModel::SettingsViewModel(std::shared_ptr<AppSettings> settings,
                                     std::shared_ptr<DisplayManager> displays,
                                     std::shared_ptr<MediaDeviceManager> devices,
                                     std::unique_ptr<FolderChooser> folderChooser, QObject* parent)
    : QObject(parent), settings_(std::move(settings)), displays_(std::move(displays)),
      devices_(std::move(devices)), folderChooser_(std::move(folderChooser)), shortcutField_(settings_) {
    AppSettings* s = settings_.get();
    connect(s, &AppSettings::customSaveDirectoryURLChanged, this, &SettingsViewModel::saveFolderChanged);
    for (auto signal : {&AppSettings::enableAutoZoomChanged, &AppSettings::showKeystrokesChanged,
                        &AppSettings::enableMicAudioChanged, &AppSettings::showWebcamChanged})
        connect(s, signal, this, &SettingsViewModel::rowsChanged);
    connect(s, &AppSettings::keystrokeDisplayModeChanged, this, &SettingsViewModel::choicesChanged);
    connect(s, &AppSettings::webcamPositionChanged, this, &SettingsViewModel::choicesChanged);
    connect(s, &AppSettings::selectedMicIDChanged, this, &SettingsViewModel::devicesChanged);
    connect(s, &AppSettings::selectedCameraIDChanged, this, &SettingsViewModel::devicesChanged);
    if (displays_) {
        connect(displays_.get(), &DisplayManager::availableDisplaysChanged, this,
                &SettingsViewModel::displaysChanged);
        connect(displays_.get(), &DisplayManager::selectedDisplayIDChanged, this,
                &SettingsViewModel::displaysChanged);
    }
    if (devices_) {
        connect(devices_.get(), &MediaDeviceManager::availableCamerasChanged, this,
                &SettingsViewModel::devicesChanged);
        connect(devices_.get(), &MediaDeviceManager::availableMicsChanged, this,
                &SettingsViewModel::devicesChanged);
    }
}

SettingsViewModel::~SettingsViewModel() = default;

QObject* SettingsViewModel::settingsObject() const {
    return settings_.get();
}

void SettingsViewModel::setSelectedTab(const QString& tab) {
    if (tab == selectedTab_ || std::ranges::find(kTabs, tab) == std::end(kTabs)) return;
    selectedTab_ = tab;
    emit selectedTabChanged();
}

QString SettingsViewModel::saveFolderName() const {
    const auto path = settings_->saveDirectoryURL().path;
    const auto name = path.filename().empty() ? path.parent_path().filename() : path.filename();
    return QString::fromStdString(name.empty() ? path.string() : name.string());
}

QString SettingsViewModel::saveFolderPath() const {
    return QString::fromStdString(settings_->saveDirectoryURL().path.string());
}

bool SettingsViewModel::showsResetSaveLocation() const {
    return settings_->customSaveDirectoryURL().has_value();
}

bool SettingsViewModel::showsFullScreenBackupRow() const {
    return settings_->enableAutoZoom();
}

bool SettingsViewModel::showsDisplayModeRow() const {
    return settings_->showKeystrokes();
}

bool SettingsViewModel::showsMicrophonePicker() const {
    return settings_->enableMicAudio();
}

bool SettingsViewModel::showsCameraPickers() const {
    return settings_->showWebcam();
}

QVariantList SettingsViewModel::displays() const {
    QVariantList entries;
    if (!displays_) return entries;
    for (const SCDisplay& display : displays_->availableDisplays())
        entries.append(QVariantMap{{"name", displays_->displayName(display)}, {"id", display.displayID}});
    return entries;
}

int SettingsViewModel::selectedDisplayIndex() const {
    return displays_ ? indexOfID(displays(), QVariant::fromValue(displays_->selectedDisplayID())) : -1;
}

QVariantList SettingsViewModel::microphones() const {
    return deviceMenuEntries(devices_ ? devices_->availableMics() : std::vector<AVCaptureDevice>{});
}

QVariantList SettingsViewModel::cameras() const {
    return deviceMenuEntries(devices_ ? devices_->availableCameras() : std::vector<AVCaptureDevice>{});
}

int SettingsViewModel::selectedMicrophoneIndex() const {
    return indexOfID(microphones(), settings_->selectedMicID());
}

int SettingsViewModel::selectedCameraIndex() const {
    return indexOfID(cameras(), settings_->selectedCameraID());
}

int SettingsViewModel::keystrokeDisplayModeIndex() const {
    return indexOf(kAllKeystrokeDisplayModes, settings_->keystrokeDisplayMode());
}

void SettingsViewModel::setKeystrokeDisplayModeIndex(int index) {
    if (index >= 0 && index < static_cast<int>(kAllKeystrokeDisplayModes.size()))
        settings_->setKeystrokeDisplayMode(kAllKeystrokeDisplayModes[index]);
}

int SettingsViewModel::webcamPositionIndex() const {
    return indexOf(kAllWebcamPositions, settings_->webcamPosition());
}

void SettingsViewModel::setWebcamPositionIndex(int index) {
    if (index >= 0 && index < static_cast<int>(kAllWebcamPositions.size()))
        settings_->setWebcamPosition(kAllWebcamPositions[index]);
}

void SettingsViewModel::changeSaveFolder() {
    const auto chosen = folderChooser_->chooseFolder(tr("Select Save Location for Recording Files"),
                                                     tr("Set as Save Location"), saveFolderPath());
    if (chosen) settings_->updateSaveDirectory(URL{chosen->toStdString()});
}

void SettingsViewModel::resetSaveFolder() {
    settings_->resetSaveDirectory();
}

void SettingsViewModel::resetShortcut() {
    settings_->resetRecordingShortcut();
}

void SettingsViewModel::redetectDisplays() {
    // One search at a time; the task is kept so that it runs to its end.
    if (!displays_ || (refresh_ && !refresh_->isReady())) return;
    refresh_.emplace(displays_->refreshDisplays());
}

void SettingsViewModel::selectDisplay(int index) {
    const QVariantList entries = displays();
    if (displays_ && index >= 0 && index < entries.size())
        displays_->setSelectedDisplayID(entries[index].toMap().value("id").toUInt());
}

void SettingsViewModel::selectMicrophone(int index) {
    const QVariantList entries = microphones();
    if (index >= 0 && index < entries.size())
        settings_->setSelectedMicID(entries[index].toMap().value("id").toString());
}

void SettingsViewModel::selectCamera(int index) {
    const QVariantList entries = cameras();
    if (index >= 0 && index < entries.size())
        settings_->setSelectedCameraID(entries[index].toMap().value("id").toString());
}

} // namespace vantrel
