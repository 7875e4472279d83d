#include "shell/updates/UpdateManager.h"

#include "platform/runtime/UserDefaults.h"
#include "platform/runtime/Workspace.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <cstdio>

namespace vantrel {

namespace {

// Plain HTTP only to this machine (a test server, a local mirror); anywhere
// else a feed that anyone on the way could rewrite would point at their download.
bool isAllowedFeed(const QUrl& url) {
    if (url.scheme() == QLatin1String("https")) return !url.host().isEmpty();
    if (url.scheme() != QLatin1String("http")) return false;
    if (url.host() == QLatin1String("localhost")) return true;
    QHostAddress address;
    return address.setAddress(url.host()) && address.isLoopback();
}

} // namespace

UpdateManager::UpdateManager(std::shared_ptr<UserDefaults> defaults, std::unique_ptr<UpdateAlerts> alerts,
                             QString currentVersion, QString builtInFeedURL, OpenURL openURL, QObject* parent)
    : QObject(parent), defaults_(std::move(defaults)), alerts_(std::move(alerts)),
      currentVersion_(currentVersion.isEmpty() ? QStringLiteral(VANTREL_VERSION) : std::move(currentVersion)),
      builtInFeedURL_(builtInFeedURL.isEmpty() ? QStringLiteral(VANTREL_UPDATE_FEED_URL)
                                               : std::move(builtInFeedURL)),
      openURL_(openURL ? std::move(openURL) : OpenURL(&NSWorkspace::openURL)) {
    automaticTimer_.setTimerType(Qt::VeryCoarseTimer);
    connect(&automaticTimer_, &QTimer::timeout, this, [this] {
        automaticTimer_.setInterval(kAutomaticCheckInterval);
        startCheck(false);
    });
    scheduleAutomaticChecks();
}

UpdateManager::~UpdateManager() {
    if (inFlight_) inFlight_->abort();
}

QString UpdateManager::feedURL() const {
    if (auto own = defaults_->stringForKey(kFeedURLKey);
        own && !QString::fromStdString(*own).trimmed().isEmpty())
        return QString::fromStdString(*own).trimmed();
    return builtInFeedURL_.trimmed();
}

QString UpdateManager::menuItemTitle() const {
    return isConfigured() ? tr("Check for Updates…") : tr("Updates Not Configured");
}

bool UpdateManager::automaticallyChecksForUpdates() const {
    return defaults_->boolForKey(kAutomaticChecksKey).value_or(false);
}

void UpdateManager::setAutomaticallyChecksForUpdates(bool on) {
    if (on == automaticallyChecksForUpdates()) return;
    defaults_->setBool(kAutomaticChecksKey, on);
    scheduleAutomaticChecks();
    emit automaticallyChecksForUpdatesChanged();
}

void UpdateManager::scheduleAutomaticChecks() {
    if (automaticallyChecksForUpdates() && isConfigured()) {
        automaticTimer_.start(kFirstAutomaticCheckDelay);
    } else {
        automaticTimer_.stop();
    }
}

void UpdateManager::checkForUpdates() {
    startCheck(true);
}

void UpdateManager::startCheck(bool userInitiated) {
    if (inFlight_) return;
    if (!isConfigured()) {
        if (userInitiated) alerts_->showNotConfigured();
        report(UpdateCheckOutcome::notConfigured);
        return;
    }
    const QUrl url(feedURL());
    if (!isAllowedFeed(url)) {
        std::printf("⚠️ Update feed refused: %s\n", qPrintable(feedURL()));
        if (userInitiated)
            alerts_->showFailure(tr("Could Not Check for Updates"),
                                 tr("The update feed must be an https:// address: %1").arg(feedURL()));
        report(UpdateCheckOutcome::networkFailure);
        return;
    }
    QNetworkRequest request(url);
    request.setTransferTimeout(static_cast<int>(kTransferTimeout.count()));
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Vantrel/%1").arg(currentVersion_));
    QNetworkReply* reply = network_.get(request);
    inFlight_ = reply;
    connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received, qint64) {
        if (received > kMaxFeedBytes) reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply, userInitiated] {
        reply->deleteLater();
        finishCheck(reply, userInitiated);
    });
}

void UpdateManager::finishCheck(QNetworkReply* reply, bool userInitiated) {
    inFlight_.clear();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QByteArray body = reply->error() == QNetworkReply::NoError ? reply->readAll() : QByteArray();
    if (reply->error() != QNetworkReply::NoError || status >= 300 || body.size() > kMaxFeedBytes) {
        const QString detail =
            body.size() > kMaxFeedBytes ? tr("The update feed is too large.")
            : status >= 300             ? tr("The update server answered with status %1.").arg(status)
                            : tr("The update server could not be reached: %1").arg(reply->errorString());
        std::printf("⚠️ Update check failed: %s\n", qPrintable(detail));
        if (userInitiated) alerts_->showFailure(tr("Could Not Check for Updates"), detail);
        report(UpdateCheckOutcome::networkFailure);
        return;
    }

    auto parsed = parseAppcast(body);
    if (auto* error = std::get_if<AppcastParseError>(&parsed)) {
        std::printf("⚠️ Update feed unreadable: %s\n", qPrintable(error->reason));
        if (userInitiated) alerts_->showFailure(tr("The Update Feed Could Not Be Read"), error->reason);
        report(UpdateCheckOutcome::malformedFeed);
        return;
    }
    const AppcastItem& newest = std::get<std::vector<AppcastItem>>(parsed).front();
    const std::optional<int> order = compareVersions(newest.version, currentVersion_);
    if (!order || *order <= 0) {
        if (userInitiated) alerts_->showUpToDate(currentVersion_);
        report(UpdateCheckOutcome::upToDate);
        return;
    }
    // The outcome is known before the dialog waits for the user.
    report(UpdateCheckOutcome::updateAvailable);
    if (alerts_->offerUpdate(newest, currentVersion_)) openURL_(newest.downloadURL.toString().toStdString());
}

void UpdateManager::report(UpdateCheckOutcome outcome) {
    emit checkFinished(outcome);
}

} // namespace vantrel
