#include "BookmarkManager.h"

#include "platform/DocumentsFolder.h"
#include "platform/SecurityScopedBookmark.h"

#include <cstdio>
#include <mutex>

namespace vantrel {

namespace {

std::mutex& sharedMutex() {
    static std::mutex mutex;
    return mutex;
}

std::shared_ptr<BookmarkManager>& sharedSlot() {
    static std::shared_ptr<BookmarkManager> manager;
    return manager;
}

} // namespace

BookmarkManager::BookmarkManager(std::shared_ptr<UserDefaults> userDefaults)
    : userDefaults_(std::move(userDefaults)) {}

std::shared_ptr<BookmarkManager> BookmarkManager::shared() {
    std::lock_guard guard(sharedMutex());
    auto& slot = sharedSlot();
    if (!slot) {
        slot = std::make_shared<BookmarkManager>(UserDefaults::standard());
        SaveDirectoryBookmarks::setShared(slot);
    }
    return slot;
}

void BookmarkManager::setShared(std::shared_ptr<BookmarkManager> manager) {
    std::lock_guard guard(sharedMutex());
    sharedSlot() = manager;
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
