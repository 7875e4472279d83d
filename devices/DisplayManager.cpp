#include "DisplayManager.h"

#include "platform/runtime/DispatchQueue.h"
#include "platform/core/SharedInstance.h"

#include <QPointer>
#include <algorithm>
#include <cstdio>

namespace vantrel {

DisplayManager::DisplayManager(std::shared_ptr<UserDefaults> defaults) : defaults_(std::move(defaults)) {
    const auto stored = defaults_->integerForKey(kSelectedDisplayIDKey).value_or(0);
    // Only a 32-bit value can be an ID; anything else counts as nothing stored.
    const bool usable = stored > 0 && stored <= static_cast<int64_t>(UINT32_MAX);
    selectedDisplayID_ = usable ? static_cast<CGDirectDisplayID>(stored) : CGMainDisplayID();
    CGDisplayRegisterReconfigurationCallback(&DisplayManager::reconfigurationCallback, this);
    startRefresh();
}

DisplayManager::~DisplayManager() {
    CGDisplayRemoveReconfigurationCallback(&DisplayManager::reconfigurationCallback, this);
}

namespace {
// The settings may be made before anything asked for the display manager.
const bool registered = DisplayManagerProvider::registerMaker([] { return DisplayManager::shared(); });
} // namespace

std::shared_ptr<DisplayManager> DisplayManager::shared() {
    return SharedInstance<DisplayManager>::getOrMake([] {
        auto manager = std::make_shared<DisplayManager>(UserDefaults::standard());
        DisplayManagerProvider::setShared(manager);
        return manager;
    });
}

void DisplayManager::setShared(std::shared_ptr<DisplayManager> manager) {
    SharedInstance<DisplayManager>::set(manager);
    DisplayManagerProvider::setShared(std::move(manager));
}

void DisplayManager::setSelectedDisplayID(CGDirectDisplayID displayID) {
    selectedDisplayID_ = displayID;
    defaults_->setInteger(kSelectedDisplayIDKey, displayID);
    emit selectedDisplayIDChanged();
}

std::optional<SCDisplay> DisplayManager::selectedDisplay() const {
    auto chosen = std::find_if(availableDisplays_.begin(), availableDisplays_.end(),
                               [this](const SCDisplay& d) { return d.displayID == selectedDisplayID_; });
    if (chosen != availableDisplays_.end()) return *chosen;
    if (!availableDisplays_.empty()) return availableDisplays_.front();
    return std::nullopt;
}

void DisplayManager::reconfigurationCallback(CGDirectDisplayID, uint32_t flags, void* userInfo) {
    if ((flags & kCGDisplayBeginConfigurationFlag) || !userInfo) return;
    // The callback only starts a task on the main thread; one task per call, no debounce.
    static_cast<DisplayManager*>(userInfo)->startRefresh();
}

void DisplayManager::startRefresh() {
    // A task of its own on the main thread, started after the current work
    // (construction, a callback) is done; it holds this object weakly.
    DispatchQueue::main().async([self = QPointer<DisplayManager>(this)] {
        [](QPointer<DisplayManager> manager) -> QCoro::Task<> {
            if (manager) co_await manager->refreshDisplays();
        }(self);
    });
}

QCoro::Task<> DisplayManager::refreshDisplays() {
    QPointer<DisplayManager> self(this);
    SCShareableContent content;
    try {
        content = co_await SCShareableContent::getShareableContent(false, true);
    } catch (const DisplayServiceError& error) {
        std::printf("⚠️ ディスプレイ一覧の取得に失敗: %s\n",
                    error.localizedDescription().c_str());
        std::fflush(stdout);
        co_return;
    }
    if (!self) co_return;
    availableDisplays_ = std::move(content.displays);
    emit availableDisplaysChanged();
    const bool stillThere =
        std::any_of(availableDisplays_.begin(), availableDisplays_.end(),
                    [this](const SCDisplay& d) { return d.displayID == selectedDisplayID_; });
    if (stillThere) co_return;
    setSelectedDisplayID(availableDisplays_.empty() ? CGMainDisplayID()
                                                    : availableDisplays_.front().displayID);
}

QString DisplayManager::displayName(const SCDisplay& display) const {
    QString baseName = QString("Display %1").arg(display.displayID);
    for (const NSScreen& screen : NSScreen::screens()) {
        const auto number = screen.deviceDescription.find("NSScreenNumber");
        const bool isUInt32 = number != screen.deviceDescription.end() &&
                              number->second.metaType() == QMetaType::fromType<CGDirectDisplayID>();
        const CGDirectDisplayID screenNumber = isUInt32 ? number->second.value<CGDirectDisplayID>() : 0;
        if (screenNumber == display.displayID) {
            baseName = QString::fromStdString(screen.localizedName);
            break;
        }
    }
    return QString("%1 (%2×%3)").arg(baseName).arg(display.width).arg(display.height);
}

} // namespace vantrel
