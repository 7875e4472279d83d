#pragma once
// The store of the custom save folder's bookmark, under
// "saveDirectoryBookmark" in the user defaults, and the default folder.
// No mutable state of its own; main thread.

#include "platform/runtime/UserDefaults.h"
#include "settings/Providers.h"

#include <memory>
#include <optional>
#include <string_view>

namespace vantrel {

class BookmarkManager final : public BookmarkProvider, public SaveDirectoryBookmarks {
public:
    static constexpr std::string_view bookmarkKey = "saveDirectoryBookmark";

    explicit BookmarkManager(std::shared_ptr<UserDefaults> userDefaults);

    /// The one instance, on the standard user defaults; it installs itself as
    /// SaveDirectoryBookmarks::shared() for the settings. Tests replace it with setShared.
    static std::shared_ptr<BookmarkManager> shared();
    static void setShared(std::shared_ptr<BookmarkManager> manager);

    /// The user's Documents folder, created if missing.
    URL getDefaultDirectoryURL() override;
    /// The stored folder, or absent (with a printed line when it cannot be resolved).
    std::optional<URL> getSavedDirectoryURL() override;
    /// Stores a new bookmark; a failure is printed and keeps the old one.
    void saveBookmark(const URL& url) override;
    void restoreDefault() override;

private:
    const std::shared_ptr<UserDefaults> userDefaults_;
};

} // namespace vantrel
