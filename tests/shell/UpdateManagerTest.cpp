// The update check against a feed server of the test's own on 127.0.0.1: a
// newer release, the same one, a malformed feed, an error status and no
// server at all; the feed reader's choices on hand-written feeds.
#include "shell/updates/UpdateManager.h"

#include "platform/runtime/UserDefaultsQSettings.h"
#include "tests/support/TestServices.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <gtest/gtest.h>
#include <map>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

QByteArray feed(const QByteArray& items) {
    return "<?xml version=\"1.0\"?>\n<rss version=\"2.0\" xmlns:sparkle=\"urn:example:updates\">"
           "<channel><title>Vantrel</title>" +
           items + "</channel></rss>";
}

QByteArray item(const QByteArray& version, const QByteArray& notes, const QByteArray& link) {
    return "<item><title>Vantrel " + version + "</title><sparkle:version>" + version +
           "</sparkle:version><description><![CDATA[<p>" + notes + "</p>]]></description><enclosure url=\"" +
           link + "\" type=\"application/vnd.debian.binary-package\"/></item>";
}

// Answers each GET with the body registered for its path, or 404.
class FeedServer {
public:
    FeedServer() {
        server_.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&server_, &QTcpServer::newConnection, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { answer(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            }
        });
    }
    QString url(const QString& path) const {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(server_.serverPort()).arg(path);
    }
    std::map<QByteArray, QByteArray> bodies;

private:
    void answer(QTcpSocket* socket) {
        QByteArray& request = pending_[socket];
        request += socket->readAll();
        if (!request.contains("\r\n\r\n")) return;
        const QByteArray path = request.split(' ').value(1);
        pending_.erase(socket);
        const auto found = bodies.find(path);
        const QByteArray body = found == bodies.end() ? QByteArray("not here") : found->second;
        socket->write(
            (found == bodies.end() ? "HTTP/1.1 404 Not Found\r\n" : "HTTP/1.1 200 OK\r\n") +
            QByteArray("Content-Type: application/rss+xml\r\nConnection: close\r\nContent-Length: ") +
            QByteArray::number(body.size()) + "\r\n\r\n" + body);
        socket->disconnectFromHost();
    }
    QTcpServer server_;
    std::map<QTcpSocket*, QByteArray> pending_;
};

struct Said {
    std::vector<QString> upToDate;
    std::vector<AppcastItem> offered;
    std::vector<std::pair<QString, QString>> failures;
    int notConfigured = 0;
    bool download = false;
};

class RecordingAlerts final : public UpdateAlerts {
public:
    explicit RecordingAlerts(Said& said) : said_(said) {}
    void showUpToDate(const QString& version) override { said_.upToDate.push_back(version); }
    bool offerUpdate(const AppcastItem& newest, const QString&) override {
        said_.offered.push_back(newest);
        return said_.download;
    }
    void showFailure(const QString& title, const QString& detail) override {
        said_.failures.emplace_back(title, detail);
    }
    void showNotConfigured() override { ++said_.notConfigured; }

private:
    Said& said_;
};

class UpdateManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        server.bodies["/newer.xml"] =
            feed(item("0.1.0", "old", "https://example.org/0.1.0.deb") +
                 item("0.3.0", "Faster <b>zoom</b> &amp; fixes", "https://example.org/0.3.0.deb") +
                 item("0.2.5", "middle", "https://example.org/0.2.5.deb"));
        server.bodies["/same.xml"] = feed(item("0.2", "this one", "https://example.org/0.2.deb"));
        server.bodies["/malformed.xml"] =
            feed(item("0.3.0", "cut off", "https://example.org/x.deb")).left(120);
    }
    std::unique_ptr<UpdateManager> makeManager(const QString& builtInFeed) {
        return std::make_unique<UpdateManager>(store, std::make_unique<RecordingAlerts>(said), "0.2.0",
                                               builtInFeed, [this](const std::string& url) {
                                                   opened.push_back(url);
                                                   return true;
                                               });
    }
    UpdateCheckOutcome check(UpdateManager& manager) {
        QSignalSpy finished(&manager, &UpdateManager::checkFinished);
        manager.checkForUpdates();
        // Loopback answers in milliseconds; the margin covers a loaded 2-core
        // machine under the sanitizers, well inside the manager's own timeout.
        EXPECT_TRUE(test::waitUntil([&] { return finished.count() > 0; }, 10s));
        return finished.value(0).value(0).value<UpdateCheckOutcome>();
    }

    // Made before the server, whose socket needs the application's event loop.
    QCoreApplication& app = test::qtApp();
    test::TempHome home;
    std::shared_ptr<UserDefaults> store =
        std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
    FeedServer server;
    Said said;
    std::vector<std::string> opened;
};

} // namespace

TEST_F(UpdateManagerTest, ANewerReleaseIsOfferedWithItsNotesAndDownloadOpensItsLink) {
    auto manager = makeManager(server.url("/newer.xml"));
    EXPECT_EQ(manager->menuItemTitle(), "Check for Updates…");

    EXPECT_EQ(check(*manager), UpdateCheckOutcome::updateAvailable);
    ASSERT_EQ(said.offered.size(), 1u);
    EXPECT_EQ(said.offered[0].version, "0.3.0");
    EXPECT_EQ(said.offered[0].notes, "Faster zoom & fixes");
    EXPECT_TRUE(opened.empty()) << "Later opens nothing";

    said.download = true;
    EXPECT_EQ(check(*manager), UpdateCheckOutcome::updateAvailable);
    EXPECT_EQ(opened, std::vector<std::string>{"https://example.org/0.3.0.deb"});
    EXPECT_TRUE(said.failures.empty());
    EXPECT_TRUE(said.upToDate.empty());
}

TEST_F(UpdateManagerTest, TheSameVersionWrittenShorterIsUpToDate) {
    auto manager = makeManager(server.url("/same.xml"));
    EXPECT_EQ(check(*manager), UpdateCheckOutcome::upToDate);
    EXPECT_EQ(said.upToDate, std::vector<QString>{"0.2.0"});
    EXPECT_TRUE(said.offered.empty());
}

TEST_F(UpdateManagerTest, WhatWentWrongIsSaidForABrokenFeedAMissingOneAndNoServer) {
    auto manager = makeManager(server.url("/malformed.xml"));
    EXPECT_EQ(check(*manager), UpdateCheckOutcome::malformedFeed);

    store->setString(UpdateManager::kFeedURLKey, server.url("/gone.xml").toStdString());
    EXPECT_EQ(check(*manager), UpdateCheckOutcome::networkFailure);

    QTcpServer closed;
    ASSERT_TRUE(closed.listen(QHostAddress::LocalHost, 0));
    const quint16 port = closed.serverPort();
    closed.close();
    store->setString(UpdateManager::kFeedURLKey,
                     QStringLiteral("http://127.0.0.1:%1/feed.xml").arg(port).toStdString());
    EXPECT_EQ(check(*manager), UpdateCheckOutcome::networkFailure);

    ASSERT_EQ(said.failures.size(), 3u);
    EXPECT_EQ(said.failures[0].first, "The Update Feed Could Not Be Read");
    EXPECT_TRUE(said.failures[1].second.contains("404")) << said.failures[1].second.toStdString();
    EXPECT_EQ(said.failures[2].first, "Could Not Check for Updates");
    EXPECT_TRUE(said.offered.empty());
    EXPECT_TRUE(opened.empty());
}

TEST_F(UpdateManagerTest, TheFeedAddressComesFromTheSettingsThenTheBuildAndPlainHTTPOnlyToThisMachine) {
    auto unconfigured = makeManager({});
    if (unconfigured->isConfigured()) GTEST_SKIP() << "this build has a feed address of its own";
    EXPECT_EQ(unconfigured->menuItemTitle(), "Updates Not Configured");
    EXPECT_EQ(check(*unconfigured), UpdateCheckOutcome::notConfigured);
    EXPECT_EQ(said.notConfigured, 1);

    store->setString(UpdateManager::kFeedURLKey, server.url("/same.xml").toStdString());
    EXPECT_EQ(unconfigured->menuItemTitle(), "Check for Updates…");
    EXPECT_EQ(check(*unconfigured), UpdateCheckOutcome::upToDate);

    // A feed anyone on the way could rewrite is never fetched.
    store->setString(UpdateManager::kFeedURLKey, "http://updates.example.org/feed.xml");
    EXPECT_EQ(check(*unconfigured), UpdateCheckOutcome::networkFailure);
    ASSERT_EQ(said.failures.size(), 1u);
    EXPECT_TRUE(said.failures[0].second.contains("https://"));
}

TEST(AppcastFeedTest, ReleasesAreOrderedByVersionAndItemsWithoutAVersionOrLinkAreSkipped) {
    EXPECT_GT(*compareVersions("0.10", "0.9"), 0);
    EXPECT_EQ(*compareVersions("1.2", "1.2.0"), 0);
    EXPECT_LT(*compareVersions("1.2rc1", "1.3"), 0);
    EXPECT_FALSE(compareVersions("beta", "1.0"));

    const QByteArray xml =
        feed("<item><title>no version</title><enclosure url=\"https://example.org/a.deb\"/></item>"
             "<item><title>version on the enclosure</title><link>https://example.org/page</link>"
             "<enclosure url=\"https://example.org/1.4.deb\" sparkle:version=\"1.4\"/></item>"
             "<item><sparkle:version>2.0</sparkle:version><link>ftp://example.org/2.0.deb</link></item>"
             "<item><sparkle:version>1.10</sparkle:version><link>https://example.org/1.10</link></item>");
    auto parsed = parseAppcast(xml);
    ASSERT_TRUE(std::holds_alternative<std::vector<AppcastItem>>(parsed));
    const auto& items = std::get<std::vector<AppcastItem>>(parsed);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].version, "1.10");
    EXPECT_EQ(items[0].downloadURL.toString(), "https://example.org/1.10");
    EXPECT_EQ(items[1].downloadURL.toString(), "https://example.org/1.4.deb")
        << "the enclosure wins over the link";

    EXPECT_TRUE(std::holds_alternative<AppcastParseError>(parseAppcast("<html><body>Hi</body></html>")));
    EXPECT_TRUE(std::holds_alternative<AppcastParseError>(parseAppcast(feed(""))));
}
