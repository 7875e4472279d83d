#pragma once
// The user's Documents folder (NSFileManager URLsForDirectory:NSDocumentDirectory).

#include "platform/core/SharedTypes.h"

namespace vantrel {

/// The XDG documents folder ($XDG_CONFIG_HOME/user-dirs.dirs, as `xdg-user-dir
/// DOCUMENTS` reads it), else ~/Documents. Created when it does not exist
/// yet, as desktop sessions do at login; the URL is given even if that fails.
URL documentDirectoryURL();

} // namespace vantrel
