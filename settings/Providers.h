#pragma once
// The interfaces through which the recorder and the settings reach the shared
// objects. Each shared instance is reached by shared() and can be replaced
// with setShared(), by tests or by the object that implements it.
//
// Folders build one way (recording, devices -> settings -> platform), so the
// settings reach the display manager (devices/) and the bookmark store
// (recording/) only through these interfaces: DisplayManager::shared() and
// BookmarkManager::shared() install themselves here when they are made, and
// register at start how they are made, so that whichever shared object is
// touched first, the store and the display manager come before the settings.

#include "engine/FrameInputs.h"
#include "platform/core/SharedInstance.h"
#include "platform/core/SharedTypes.h"

#include <QCoro/QCoroTask>
#include <functional>
#include <memory>
#include <optional>

namespace vantrel {

/// The shared instance of an interface, made on first use by the maker its
/// implementation registered; null when none is linked in.
template <typename Interface> class SharedProvider {
public:
    using Maker = std::function<std::shared_ptr<Interface>()>;
    static std::shared_ptr<Interface> shared() {
        if (auto existing = SharedInstance<Interface>::get()) return existing;
        // The maker installs what it makes (through setShared).
        return maker() ? maker()() : nullptr;
    }
    static void setShared(std::shared_ptr<Interface> instance) {
        SharedInstance<Interface>::set(std::move(instance));
    }
    /// Called once, from a static initialiser of the implementation's file.
    static bool registerMaker(Maker make) {
        maker() = std::move(make);
        return true;
    }

private:
    static Maker& maker() {
        static Maker instance;
        return instance;
    }
};

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

/// `shared()`: the display manager the settings read the chosen display from.
class DisplayManagerProvider : public SharedProvider<DisplayManagerProvider> {
public:
    virtual ~DisplayManagerProvider() = default;
    virtual CGDirectDisplayID selectedDisplayID() const = 0;
};

/// What AppSettings asks of the store of the custom folder's bookmark.
class SaveDirectoryBookmarks : public SharedProvider<SaveDirectoryBookmarks> {
public:
    virtual ~SaveDirectoryBookmarks() = default;
    virtual std::optional<URL> getSavedDirectoryURL() = 0;
    virtual void saveBookmark(const URL& url) = 0;
    virtual void restoreDefault() = 0;
};

} // namespace vantrel
