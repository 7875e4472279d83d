#include "BookmarkManager.h"

#include "platform/runtime/DocumentsFolder.h"
#include "platform/runtime/SecurityScopedBookmark.h"
#include "platform/core/SharedInstance.h"

#include <cstdio>

namespace vantrel {

BookmarkManager::BookmarkManager(std::shared_ptr<UserDefaults> userDefaults)
    : userDefaults_(std::move(userDefaults)) {}

namespace {
// The settings may be made before anything asked for the store.
const bool registered = SaveDirectoryBookmarks::registerMaker([] { return BookmarkManager::shared(); });
} // namespace

std::shared_ptr<BookmarkManager> BookmarkManager::shared() {
    return SharedInstance<BookmarkManager>::getOrMake([] {
        auto manager = std::make_shared<BookmarkManager>(UserDefaults::standard());
        SaveDirectoryBookmarks::setShared(manager);
        return manager;
    });
}

void BookmarkManager::setShared(std::shared_ptr<BookmarkManager> manager) {
    SharedInstance<BookmarkManager>::set(manager);
    SaveDirectoryBookmarks::setShared(std::move(manager));
}

URL BookmarkManager::getDefaultDirectoryURL() {
    return documentDirectoryURL();
}

std::optional<URL> BookmarkManager::getSavedDirectoryURL() {
    const auto data = userDefaults_->dataForKey(bookmarkKey);
    if (!data) return std::nullopt;
    ResolvedBookmark resolved;
    try {
        resolved = resolveBookmarkData(*data);
    } catch (const FileServiceError& error) {
        // The entry stays: the folder may come back (a drive plugged in later).
        std::printf("❌ Failed to resolve bookmark: %s\n", error.localizedDescription().c_str());
        std::fflush(stdout);
        return std::nullopt;
    }
    // Never set on Linux (a path does not go stale), kept for the same flow everywhere.
    if (resolved.isStale) {
        std::printf("⚠️ Bookmark is stale, regenerating...\n");
        std::fflush(stdout);
        saveBookmark(resolved.url);
    }
    return resolved.url;
}

void BookmarkManager::saveBookmark(const URL& url) {
    QByteArray data;
    try {
        data = bookmarkData(url);
    } catch (const FileServiceError& error) {
        std::printf("❌ Failed to create bookmark for %s: %s\n", url.path.c_str(),
                    error.localizedDescription().c_str());
        std::fflush(stdout);
        return;
    }
    userDefaults_->setData(bookmarkKey, data);
    std::printf("✅ Successfully saved security-scoped bookmark for: %s\n", url.path.c_str());
    std::fflush(stdout);
}

void BookmarkManager::restoreDefault() {
    userDefaults_->removeObjectForKey(bookmarkKey);
}

} // namespace vantrel
