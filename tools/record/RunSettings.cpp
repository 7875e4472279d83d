#include "RunSettings.h"

namespace vantrel::tools {

RunSettings::RunSettings(std::shared_ptr<AppSettingsProvider> userSettings, const RecordOptions& options,
                         CGDirectDisplayID display)
    : userSettings_(std::move(userSettings)), options_(options), display_(display) {}

AppSettingsSnapshot RunSettings::makeSnapshot() {
    auto snapshot = userSettings_->makeSnapshot();
    if (display_ != 0) snapshot.selectedDisplayID = display_;
    if (options_.outDirectory) snapshot.saveDirectoryURL = URL{*options_.outDirectory};
    if (options_.full) snapshot.saveFullScreenBackup = true;
    if (options_.noSystemAudio) snapshot.enableSystemAudio = false;
    if (options_.mic) {
        snapshot.enableMicAudio = true;
        snapshot.selectedMicID = *options_.mic;
    }
    if (options_.webcam) {
        snapshot.showWebcam = true;
        snapshot.selectedCameraID = *options_.webcam;
    }
    // A headless run opens no windows, not even the folder afterwards.
    snapshot.openFinderAfterRecording = false;
    return snapshot;
}

} // namespace vantrel::tools
