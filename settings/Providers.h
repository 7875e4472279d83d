#pragma once
// The interfaces through which the recorder and the settings reach the shared
// objects. Each shared instance is reached by shared() and can be replaced
// with setShared(), by tests or by the object that implements it.
//
// Folders build one way (recording, devices -> settings -> platform), so the
// settings reach the display manager (devices/) and the bookmark store
// (recording/) only through these interfaces: DisplayManager::shared() and
// BookmarkManager::shared() install themselves here when they are made.

#include "engine/FrameInputs.h"
#include "platform/core/SharedInstance.h"
#include "platform/core/SharedTypes.h"

#include <QCoro/QCoroTask>
#include <memory>
#include <optional>

namespace vantrel {

class AppSettingsProvider {
public:
    virtual ~AppSettingsProvider() = default;
    virtual AppSettingsSnapshot makeSnapshot() = 0;
};

class PermissionsProvider {
public:
    virtual ~PermissionsProvider() = default;
    virtual bool checkAllPermissions() = 0;
    virtual bool requestScreenRecordingPermission() = 0;
    virtual bool requestAccessibilityPermission() = 0;
    /// Main thread; may wait for the user where the system asks.
    virtual QCoro::Task<bool> requestCameraPermission() = 0;
};

class BookmarkProvider {
public:
    virtual ~BookmarkProvider() = default;
    /// The user's Documents folder.
    virtual URL getDefaultDirectoryURL() = 0;
};

class DisplayManagerProvider {
public:
    virtual ~DisplayManagerProvider() = default;
    virtual CGDirectDisplayID selectedDisplayID() const = 0;

    /// The display manager the settings read the chosen display from.
    static std::shared_ptr<DisplayManagerProvider> shared() {
        return SharedInstance<DisplayManagerProvider>::get();
    }
    static void setShared(std::shared_ptr<DisplayManagerProvider> provider) {
        SharedInstance<DisplayManagerProvider>::set(std::move(provider));
    }
};

/// What AppSettings asks of the store of the custom folder's bookmark.
class SaveDirectoryBookmarks {
public:
    virtual ~SaveDirectoryBookmarks() = default;
    virtual std::optional<URL> getSavedDirectoryURL() = 0;
    virtual void saveBookmark(const URL& url) = 0;
    virtual void restoreDefault() = 0;

    static std::shared_ptr<SaveDirectoryBookmarks> shared() {
        return SharedInstance<SaveDirectoryBookmarks>::get();
    }
    static void setShared(std::shared_ptr<SaveDirectoryBookmarks> bookmarks) {
        SharedInstance<SaveDirectoryBookmarks>::set(std::move(bookmarks));
    }
};

} // namespace vantrel
