#pragma once
// "Check for Updates…": reads the update feed over HTTPS, compares its newest
// release with our version and says what it found. The feed address comes
// from the settings key "updateFeedURL" or, without it, from the build; with
// neither, updates are not configured and the menu item says so. Checks run
// only when the user asks, or on a timer once the user turned automatic
// checks on; an automatic check speaks only when there is something new.
// Main thread only.

#include "shell/updates/AppcastFeed.h"
#include "shell/updates/UpdateAlerts.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace vantrel {

class UserDefaults;

enum class UpdateCheckOutcome { upToDate, updateAvailable, notConfigured, networkFailure, malformedFeed };

class UpdateManager final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isConfigured READ isConfigured CONSTANT)
    Q_PROPERTY(QString menuItemTitle READ menuItemTitle CONSTANT)
    Q_PROPERTY(bool automaticallyChecksForUpdates READ automaticallyChecksForUpdates WRITE
                   setAutomaticallyChecksForUpdates NOTIFY automaticallyChecksForUpdatesChanged)

public:
    static constexpr std::string_view kFeedURLKey = "updateFeedURL";
    static constexpr std::string_view kAutomaticChecksKey = "automaticallyCheckForUpdates";
    /// Long enough that a slow mirror answers, short enough that a dead
    /// network is reported while the user still waits for it.
    static constexpr std::chrono::milliseconds kTransferTimeout{15000};
    /// A feed is a few kilobytes; anything far larger is not one.
    static constexpr qint64 kMaxFeedBytes = 1 << 20;
    static constexpr std::chrono::hours kAutomaticCheckInterval{24};
    /// The first automatic check waits until start-up has settled.
    static constexpr std::chrono::seconds kFirstAutomaticCheckDelay{30};

    using OpenURL = std::function<bool(const std::string&)>;

    /// `builtInFeedURL` and `currentVersion` default to the build's; `openURL`
    /// to the desktop's handler (NSWorkspace::openURL).
    UpdateManager(std::shared_ptr<UserDefaults> defaults, std::unique_ptr<UpdateAlerts> alerts,
                  QString currentVersion = {}, QString builtInFeedURL = {}, OpenURL openURL = {},
                  QObject* parent = nullptr);
    ~UpdateManager() override;

    /// The address checked: the settings key's if set, else the build's; empty when neither.
    QString feedURL() const;
    bool isConfigured() const { return !feedURL().isEmpty(); }
    /// "Check for Updates…", or "Updates Not Configured" when there is no feed.
    QString menuItemTitle() const;
    QString currentVersion() const { return currentVersion_; }

    bool automaticallyChecksForUpdates() const;
    void setAutomaticallyChecksForUpdates(bool on);

    /// Asked by the user: every outcome is shown. A request while a check is
    /// under way is ignored. Returns at once; checkFinished tells the end.
    void checkForUpdates();

signals:
    void checkFinished(vantrel::UpdateCheckOutcome outcome);
    void automaticallyChecksForUpdatesChanged();

private:
    void startCheck(bool userInitiated);
    void finishCheck(QNetworkReply* reply, bool userInitiated);
    void report(UpdateCheckOutcome outcome);
    void scheduleAutomaticChecks();

    std::shared_ptr<UserDefaults> defaults_;
    std::unique_ptr<UpdateAlerts> alerts_;
    QString currentVersion_;
    QString builtInFeedURL_;
    OpenURL openURL_;
    QNetworkAccessManager network_;
    QPointer<QNetworkReply> inFlight_;
    QTimer automaticTimer_;
};

} // namespace vantrel
