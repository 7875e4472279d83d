#pragma once
// Where the files of one recording go: their names, and the fall-back to
// Documents when the custom folder gives no access. Called while the writers
// are made (during preparation), on the main thread.

#include "engine/FrameInputs.h"
#include "platform/core/SharedTypes.h"
#include "settings/Providers.h"

#include <optional>
#include <string>

namespace vantrel {

/// The local time now as "yyyy-MM-dd_HH-mm-ss"; taken once per recording so
/// that both files share it.
std::string makeRecordingTimestamp();

struct RecordingFiles {
    URL zoomedURL;
    std::optional<URL> fullURL; // present when saveFullScreenBackup is set
    /// The folder whose access was started: present exactly when access was
    /// granted, so never after a fall-back. Whoever holds it ends the access
    /// once with stopAccessingSecurityScopedResource.
    std::optional<URL> scopedDirectoryURL;
    bool fellBack = false;
};

/// The names alone, for a given access result: the four cases of normal and
/// fall-back, with and without the full-screen file. Prints the fall-back line.
RecordingFiles recordingFileNames(const URL& saveDirectoryURL, const URL& defaultDirectoryURL,
                                  bool saveFullScreenBackup, bool accessGranted,
                                  const std::string& timestamp);

/// Starts access on the snapshot's folder, takes the time stamp, and names the files.
RecordingFiles chooseRecordingFiles(const AppSettingsSnapshot& settings, BookmarkProvider& bookmarks);

} // namespace vantrel
