// The settings window for real on the test's X server: each tab renders dark
// with its sidebar row selected (screenshots kept under the build folder for
// a person to look at), a row hidden by its switch shortens the card, and
// Shift+A typed through XTest into the shortcut field is stored as "a" with
// the shift bit.
#include "ShellFixture.h"
#include "devices/DisplayManager.h"
#include "devices/MediaDeviceManager.h"
#include "platform/runtime/UserDefaultsQSettings.h"
#include "recording/BookmarkManager.h"
#include "settings/AppSettings.h"
#include "shell/settingswindow/SettingsViewModel.h"
#include "shell/settingswindow/SettingsWindowManager.h"
#include "tests/support/TestServices.h"
#include "tests/support/XTestInput.h"

#include <QApplication>
#include <QProcess>
#include <QQuickItem>
#include <QQuickView>
#include <gtest/gtest.h>

using namespace vantrel;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

// The sidebar's rows in the accent colour: the top and bottom of each run of them at x = 20.
std::vector<std::pair<int, int>> accentRuns(const QImage& shot) {
    std::vector<std::pair<int, int>> runs;
    for (int y = 0; y < shot.height(); ++y) {
        const QRgb p = shot.pixel(20, y);
        if (qBlue(p) < 200 || qRed(p) > 60) continue;
        if (runs.empty() || runs.back().second != y - 1) runs.push_back({y, y});
        runs.back().second = y;
    }
    return runs;
}

// How far down the first card reaches, looking down its left part from the top.
int cardBottom(const QImage& shot) {
    int bottom = -1;
    for (int y = 24; y < shot.height(); ++y)
        if (qGray(shot.pixel(166 + 24 + 4, y)) > 0x24)
            bottom = y;
        else if (bottom > 0)
            break;
    return bottom;
}

} // namespace

TEST(SettingsWindowTest, TabsRenderDarkRowsFollowTheirSwitchesAndTheFieldTakesShiftA) {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) GTEST_SKIP() << "needs the test X server";
    test::displayApp();
    test::TempHome home;
    test::ScopedEnv fakeCamera("VANTREL_FAKE_CAMERA", "1");
    auto store =
        std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
    auto settings = std::make_shared<AppSettings>(store, std::make_shared<BookmarkManager>(store), nullptr);
    settings->setEnableMicAudio(true); // the pickers show in the screenshots
    settings->setShowWebcam(true);
    SettingsWindowManager manager(settings, DisplayManager::shared(), std::make_shared<MediaDeviceManager>());
    manager.show();
    QQuickView* window = manager.window();
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(test::waitUntil([&] { return window->isExposed(); }, 10s));
    EXPECT_EQ(window->size(), QSize(620, 460));

    const fs::path shots = fs::path(QCoreApplication::applicationDirPath().toStdString()) / "shots";
    fs::create_directories(shots);
    int lastRunTop = 0;
    for (const char* tab : SettingsViewModel::kTabs) {
        manager.viewModel()->setSelectedTab(tab);
        test::runMainLoopFor(600ms); // the 0.15 s fade, with room for a loaded machine
        const QImage shot = window->grabWindow();
        shot.save(QString::fromStdString((shots / (std::string("settings-") + tab + ".png")).string()));
        EXPECT_LT(qGray(shot.pixel(610, 450)), 0x30) << tab;
        const auto runs = accentRuns(shot);
        ASSERT_EQ(runs.size(), 1u) << tab << ": one sidebar row in the accent colour";
        EXPECT_GT(runs[0].first, lastRunTop) << tab << ": the selected row moves down with the tab";
        lastRunTop = runs[0].first;
    }

    // The controls carry their labels on the accessibility bus.
    QProcess tool;
    tool.start(VANTREL_A11Y_TOOL, {"--app", QCoreApplication::applicationName(), "--timeout", "30"});
    ASSERT_TRUE(test::waitUntil([&] { return tool.state() == QProcess::NotRunning; }, 60s));
    const QString bus = tool.readAllStandardOutput();
    for (const char* control :
         {"check box\tShow Webcam Overlay", "combo box\tDisplay Position", "push button\tGeneral"})
        EXPECT_TRUE(bus.contains(control)) << control << " not in:\n" << bus.toStdString();

    manager.viewModel()->setSelectedTab("overlay");
    settings->setShowKeystrokes(true);
    test::runMainLoopFor(600ms);
    const int withDisplayMode = cardBottom(window->grabWindow());
    settings->setShowKeystrokes(false);
    test::runMainLoopFor(600ms);
    EXPECT_LT(cardBottom(window->grabWindow()), withDisplayMode - 20) << "the Display Mode row goes";

    manager.viewModel()->setSelectedTab("general");
    test::runMainLoopFor(600ms);
    test::XTestInput input;
    input.moveTo(window->x() + 400, window->y() + 300);
    // The field is below the fold: bring the page's end into view.
    auto* flickable =
        window->rootObject()->findChild<QQuickItem*>("page")->property("contentItem").value<QQuickItem*>();
    ASSERT_NE(flickable, nullptr);
    flickable->setProperty("contentY", flickable->property("contentHeight").toDouble() - flickable->height());
    test::runMainLoopFor(600ms);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); // the earlier tabs' items
    auto* field = window->rootObject()->findChild<QQuickItem*>("shortcutField");
    ASSERT_NE(field, nullptr);
    const QPoint centre = window->mapToGlobal(field->mapToScene(QPointF(60, 13)).toPoint());
    ASSERT_LT(centre.y(), window->y() + 460) << "scrolled into view";
    input.moveTo(centre.x(), centre.y());
    input.click();
    ASSERT_TRUE(test::waitUntil([&] { return manager.viewModel()->shortcutField()->isRecording(); }, 5s));
    input.tap(test::keycode::a); // a bare key: ignored, still listening
    input.key(test::keycode::shiftL, true);
    input.tap(test::keycode::a);
    input.key(test::keycode::shiftL, false);
    ASSERT_TRUE(test::waitUntil([&] { return !manager.viewModel()->shortcutField()->isRecording(); }, 5s));
    EXPECT_EQ(settings->recordingShortcutKey(), "a");
    EXPECT_EQ(settings->recordingShortcutModifiersRaw(), 0x20000);
    EXPECT_EQ(manager.viewModel()->shortcutField()->text(), "⇧A");
    // The tabs left behind go on the next turn of a loop that no longer runs.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}
