// The dashboard for real on the test's X server with the generated camera:
// it opens at its size, renders dark with "CAMERA OFFLINE" and a red mark on
// the start button, shows the camera's live picture once the webcam is on,
// plays a demo over it, and its close button closes it and the camera.
// Screenshots stay under the build folder for a person to look at.
#include "ShellFixture.h"
#include "devices/CameraManager.h"
#include "platform/runtime/UserDefaultsQSettings.h"
#include "recording/BookmarkManager.h"
#include "settings/AppSettings.h"
#include "shell/dashboard/DashboardViewModel.h"
#include "shell/dashboard/DashboardWindowManager.h"
#include "shell/dashboard/DemoLoopPlayer.h"
#include "tests/support/TestServices.h"
#include "tests/support/XTestInput.h"

#include <QAccessible>
#include <QApplication>
#include <QImage>
#include <QQuickItem>
#include <QQuickView>
#include <gtest/gtest.h>
#include <map>

using namespace vantrel;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

struct Denied final : DashboardPermissions, RecordingToggle {
    int toggles = 0;
    int alerts = 0;
    bool isAccessibilityTrusted() override { return false; }
    int authorizationStatus(DashboardPermission) override { return 2; }
    void requestAccess(DashboardPermission, std::function<void(bool)> done) override { done(false); }
    void runPermissionAlert(DashboardPermission, std::function<void(bool)> done) override {
        ++alerts;
        done(false);
    }
    void toggleRecording() override { ++toggles; }
};

/// The item of this name in the visual tree (delegates are no QObject children).
QQuickItem* findItem(QQuickItem* item, const QString& objectName) {
    if (item->objectName() == objectName) return item;
    for (QQuickItem* child : item->childItems())
        if (QQuickItem* found = findItem(child, objectName)) return found;
    return nullptr;
}

/// The item's rectangle in window pixels.
QRect sceneRect(QQuickView* window, const char* objectName) {
    QQuickItem* item = findItem(window->rootObject(), QString::fromLatin1(objectName));
    if (!item) return {};
    return item->mapRectToScene(item->boundingRect()).toAlignedRect();
}

/// How many pixels of `area` satisfy `test`.
int countPixels(const QImage& image, const QRect& area, const std::function<bool(QColor)>& test) {
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            count += test(image.pixelColor(x, y)) ? 1 : 0;
    return count;
}

/// The accessible names in the window's tree, with their role and checked state.
void collectAccessible(QAccessibleInterface* node,
                       std::map<QString, std::pair<QAccessible::Role, bool>>& out) {
    if (!node) return;
    if (!node->text(QAccessible::Name).isEmpty())
        out[node->text(QAccessible::Name)] = {node->role(), node->state().checked};
    for (int i = 0; i < node->childCount(); ++i)
        collectAccessible(node->child(i), out);
}

} // namespace

TEST(DashboardWindowTest, RendersOfflineThenTheLiveCameraPlaysADemoAndClosesByItsButton) {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) GTEST_SKIP() << "needs the test X server";
    qputenv("VANTREL_FAKE_CAMERA", "320x240@15");
    test::displayApp();
    test::TempHome home;
    auto store =
        std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
    auto settings = std::make_shared<AppSettings>(store, std::make_shared<BookmarkManager>(store), nullptr);
    auto world = std::make_shared<Denied>();
    DashboardWindowManager manager({settings, nullptr, world, std::make_shared<DemoLoopPlayerFactory>()});
    const fs::path shots = fs::path(QCoreApplication::applicationDirPath().toStdString()) / "shots";
    fs::create_directories(shots);

    test::XTestInput pointer;
    ASSERT_TRUE(pointer.isConnected());
    pointer.moveTo(0, 0); // away from where the window opens: no tile is hovered by chance
    manager.show(world);
    QQuickView* window = manager.window();
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(test::waitUntil([&] { return window->isExposed(); }, 10s));
    EXPECT_EQ(window->size(), QSize(520, 705));
    test::runMainLoopFor(500ms); // the first frames of the background

    QImage shot = window->grabWindow();
    shot.save(QString::fromStdString((shots / "dashboard-webcam-off.png").string()));
    const QRect preview = sceneRect(window, "preview");
    ASSERT_EQ(preview, QRect(20, 68, 480, 270));
    const auto dark = [](QColor c) { return c.red() < 40 && c.green() < 40 && c.blue() < 50; };
    // The preview's inside is dark, but the offline label in its middle is lit.
    EXPECT_TRUE(dark(shot.pixelColor(preview.left() + 80, preview.bottom() - 40)));
    const QRect label(preview.center().x() - 80, preview.center().y() + 20, 160, 30);
    EXPECT_GT(countPixels(shot, label, [](QColor c) { return c.lightness() > 70; }), 40) << "CAMERA OFFLINE";
    // The start button: a red record mark on a dark capsule.
    const QRect start = sceneRect(window, "startButton");
    ASSERT_FALSE(start.isEmpty());
    EXPECT_TRUE(dark(shot.pixelColor(start.center().x(), start.top() + 4)));
    EXPECT_GT(countPixels(shot, start, [](QColor c) { return c.red() > 150 && c.red() - c.green() > 60; }),
              20);

    // A screen reader finds the controls by name, and the switches with their state.
    std::map<QString, std::pair<QAccessible::Role, bool>> accessible;
    collectAccessible(QAccessible::queryAccessibleInterface(window), accessible);
    EXPECT_EQ(accessible["START RECORDING"].first, QAccessible::Button);
    EXPECT_EQ(accessible["Close"].first, QAccessible::Button);
    EXPECT_EQ(accessible["Auto Zoom"], std::make_pair(QAccessible::CheckBox, true));
    EXPECT_EQ(accessible["Show Keystrokes"], std::make_pair(QAccessible::CheckBox, false));
    EXPECT_EQ(accessible["Webcam Overlay"], std::make_pair(QAccessible::CheckBox, false));

    const auto clickAt = [&](const QPoint& local) {
        const QPoint at = window->mapToGlobal(local);
        pointer.moveTo(at.x(), at.y());
        pointer.click();
    };
    // Real clicks reach the model: a plain switch goes off, one that needs accessibility stays off.
    for (const char* tile : {"tile-autoZoom", "tile-keystrokes"}) {
        const QRect header = sceneRect(window, tile);
        ASSERT_FALSE(header.isEmpty()) << tile;
        clickAt(QPoint(header.center().x(), header.top() + 16));
        test::runMainLoopFor(300ms);
    }
    EXPECT_TRUE(test::waitUntil([&] { return !settings->enableAutoZoom() && world->alerts == 1; }, 5s));
    EXPECT_FALSE(settings->showKeystrokes()) << "the accessibility alert was offered instead";
    // The pointer leaves the tiles (to the header), and the keystrokes demo it started goes.
    const QPoint header = window->mapToGlobal(QPoint(260, 30));
    pointer.moveTo(header.x(), header.y());
    EXPECT_TRUE(test::waitUntil([&] { return !manager.viewModel()->hasDemoPlayer(); }, 5s));

    // The webcam on: the generated camera's grey field fills the preview.
    settings->setShowWebcam(true);
    const auto lit = [&] {
        shot = window->grabWindow();
        return countPixels(shot, preview.adjusted(60, 60, -60, -60),
                           [](QColor c) { return c.lightness() > 80; }) > 10000;
    };
    EXPECT_TRUE(test::waitUntil([&] { return manager.previewCamera()->isCapturing(); }, 10s));
    EXPECT_TRUE(test::waitUntil(lit, 15s)) << "no camera picture in the preview";
    shot.save(QString::fromStdString((shots / "dashboard-webcam-on.png").string()));

    // A demo over the preview, with the webcam off again: its video plays in the panel.
    settings->setShowWebcam(false);
    manager.viewModel()->playDemo("autoZoom");
    auto* player = qobject_cast<DemoLoopPlayer*>(manager.viewModel()->demoPlayerObject());
    ASSERT_NE(player, nullptr) << "the demos are rendered before this test is built";
    int pictures = 0;
    QObject::connect(player, &DemoLoopPlayer::pictureChanged, [&] { ++pictures; });
    // 30 a second when idle; a loaded machine renders the window slower and takes its turns later.
    EXPECT_TRUE(test::waitUntil([&] { return pictures > 5; }, 10s)) << pictures;
    shot = window->grabWindow();
    shot.save(QString::fromStdString((shots / "dashboard-demo.png").string()));
    // The synthetic desktop's light windows, where the preview alone is dark.
    EXPECT_GT(countPixels(shot, preview, [](QColor c) { return c.lightness() > 150; }), 5000);

    clickAt(sceneRect(window, "startButton").center());
    EXPECT_TRUE(test::waitUntil([&] { return world->toggles == 1; }, 5s));

    // The close button: the window and the camera go.
    clickAt(sceneRect(window, "closeButton").center());
    EXPECT_TRUE(test::waitUntil([&] { return manager.window() == nullptr; }, 5s));
    EXPECT_EQ(manager.previewCamera(), nullptr);
}
