#pragma once
// The displays that can be recorded and the user's choice among them. The
// choice survives a restart under "selectedDisplayID", and repairs itself
// when the chosen display goes away. Main thread only.

#include "platform/displays/Displays.h"
#include "platform/runtime/UserDefaults.h"
#include "settings/Providers.h"

#include <QObject>
#include <QString>
#include <memory>
#include <vector>

namespace vantrel {

class DisplayManager final : public QObject, public DisplayManagerProvider {
    Q_OBJECT
    Q_PROPERTY(quint32 selectedDisplayID READ selectedDisplayID WRITE setSelectedDisplayID NOTIFY
                   selectedDisplayIDChanged)

public:
    static constexpr std::string_view kSelectedDisplayIDKey = "selectedDisplayID";

    /// Reads the stored choice (0 or none: the main display, not written
    /// back), registers for reconfiguration and starts the first refresh.
    explicit DisplayManager(std::shared_ptr<UserDefaults> defaults);
    ~DisplayManager() override;

    /// The one instance, made at first use on the standard user defaults; it
    /// installs itself as DisplayManagerProvider::shared(). Tests replace it with setShared.
    static std::shared_ptr<DisplayManager> shared();
    static void setShared(std::shared_ptr<DisplayManager> manager);

    const std::vector<SCDisplay>& availableDisplays() const { return availableDisplays_; }
    CGDirectDisplayID selectedDisplayID() const override { return selectedDisplayID_; }
    /// Every assignment is stored at once, also when the value is the same.
    void setSelectedDisplayID(CGDirectDisplayID displayID);

    /// The chosen display if listed, else the first listed, else absent.
    std::optional<SCDisplay> selectedDisplay() const;

    /// Rebuilds the list and repairs the choice. On failure prints one line
    /// and keeps list and choice. Overlapping refreshes: the last to end wins.
    QCoro::Task<> refreshDisplays();

    /// The monitor's name (EDID product or output name), or "Display <id>",
    /// followed by " (<width>×<height>)".
    QString displayName(const SCDisplay& display) const;

signals:
    void availableDisplaysChanged();
    void selectedDisplayIDChanged();

private:
    static void reconfigurationCallback(CGDirectDisplayID display, uint32_t flags, void* userInfo);
    void startRefresh();

    std::shared_ptr<UserDefaults> defaults_;
    std::vector<SCDisplay> availableDisplays_;
    CGDirectDisplayID selectedDisplayID_ = 0;
};

} // namespace vantrel
