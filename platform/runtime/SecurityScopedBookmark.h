#pragma once
// Folder bookmarks and folder access, in the names the logic uses.
//
// Linux has no security-scoped bookmarks: a bookmark is the folder's
// absolute path as UTF-8 data. Nothing moves a folder behind our back the way
// a sandbox container can, so a bookmark is never stale here; it either
// resolves to the folder or fails. "Access" is the right to write into the
// folder, checked when it starts; each success must be balanced by one stop.

#include "platform/core/SharedTypes.h"

#include <QByteArray>
#include <stdexcept>
#include <string>

namespace vantrel {

/// A failure of the platform's file services; what() is the localized description.
class FileServiceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    std::string localizedDescription() const { return what(); }
};

/// URL.bookmarkData(options: .withSecurityScope). Throws FileServiceError
/// for a path that is empty or not absolute.
QByteArray bookmarkData(const URL& url);

struct ResolvedBookmark {
    URL url;
    bool isStale = false; // always false on Linux
};

/// URL(resolvingBookmarkData:options:.withSecurityScope). Throws
/// FileServiceError when the data is not an absolute path or the folder no longer exists.
ResolvedBookmark resolveBookmarkData(const QByteArray& data);

/// True when the folder exists and this process may create files in it.
bool startAccessingSecurityScopedResource(const URL& url);
void stopAccessingSecurityScopedResource(const URL& url);

/// Accesses started and not yet stopped for this folder; for tests that check the balance.
int activeSecurityScopedAccessCount(const URL& url);

} // namespace vantrel
