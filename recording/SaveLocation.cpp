#include "SaveLocation.h"

#include "platform/runtime/SecurityScopedBookmark.h"

#include <QDateTime>
#include <cstdio>

namespace vantrel {

namespace {
URL inFolder(const URL& folder, const std::string& name) {
    return URL{folder.path / name};
}
URL folderOf(const URL& file) {
    return URL{file.path.parent_path()};
}
} // namespace

std::string makeRecordingTimestamp() {
    return QDateTime::currentDateTime().toString("yyyy-MM-dd_HH-mm-ss").toStdString();
}

RecordingFiles recordingFileNames(const URL& saveDirectoryURL, const URL& defaultDirectoryURL,
                                  bool saveFullScreenBackup, bool accessGranted,
                                  const std::string& timestamp) {
    const std::string stem = "Vantrel_" + timestamp;
    RecordingFiles files;
    files.zoomedURL = inFolder(saveDirectoryURL, stem + ".mp4");
    if (saveFullScreenBackup) files.fullURL = inFolder(saveDirectoryURL, stem + "_FullScreen.mp4");
    // Documents needs no access of its own: no access there is no reason to fall back.
    if (!accessGranted && !(saveDirectoryURL == defaultDirectoryURL)) {
        std::printf("⚠️ Custom directory access failed. Falling back to Documents.\n");
        std::fflush(stdout);
        files.fellBack = true;
        files.zoomedURL = inFolder(defaultDirectoryURL, stem + "_Fallback.mp4");
        if (saveFullScreenBackup)
            files.fullURL = inFolder(defaultDirectoryURL, stem + "_FullScreen_Fallback.mp4");
    }
    // With a full file beside it, the zoomed file is marked as such (and not as a fall-back).
    if (saveFullScreenBackup) files.zoomedURL = inFolder(folderOf(files.zoomedURL), stem + "_Zoomed.mp4");
    if (accessGranted) files.scopedDirectoryURL = saveDirectoryURL;
    return files;
}

RecordingFiles chooseRecordingFiles(const AppSettingsSnapshot& settings, BookmarkProvider& bookmarks) {
    const bool accessGranted = startAccessingSecurityScopedResource(settings.saveDirectoryURL);
    const std::string timestamp = makeRecordingTimestamp();
    return recordingFileNames(settings.saveDirectoryURL, bookmarks.getDefaultDirectoryURL(),
                              settings.saveFullScreenBackup, accessGranted, timestamp);
}

} // namespace vantrel
