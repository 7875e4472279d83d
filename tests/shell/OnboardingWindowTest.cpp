// The first-run window for real on the test's X server: it opens at its
// size on the page the privileges call for, each page renders (screenshots
// kept under the build folder for a person to look at), "Start Vantrel"
// closes it and stores the flag, and the pointer appears at the tray icon.
#include "ShellFixture.h"
#include "platform/runtime/UserDefaultsQSettings.h"
#include "recording/BookmarkManager.h"
#include "settings/AppSettings.h"
#include "settings/PermissionsManager.h"
#include "shell/onboarding/MenuBarHighlightWindow.h"
#include "shell/onboarding/OnboardingWindowManager.h"
#include "tests/support/TestServices.h"

#include <QGuiApplication>
#include <QImage>
#include <QQuickView>
#include <gtest/gtest.h>
#include <xcb/xcb.h>

using namespace vantrel;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

// The page strip slides for 1.4 s; twice that leaves room on a loaded machine.
constexpr auto kPageSettle = 2800ms;

bool isDark(QRgb pixel) {
    return qRed(pixel) < 90 && qGreen(pixel) < 90 && qBlue(pixel) < 120;
}

// Four dots 12 apart, 32 above the bottom: the current one 24 wide, the others 8.
int dotCenterX(int dot, int current) {
    const int left = (580 - (24 + 3 * 8 + 3 * 12)) / 2;
    int x = left;
    for (int i = 0; i < dot; ++i)
        x += (i == current ? 24 : 8) + 12;
    return x + (dot == current ? 12 : 4);
}

} // namespace

TEST(OnboardingWindowTest, PagesRenderDarkWithTheCurrentDotAndStartVantrelFinishes) {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) GTEST_SKIP() << "needs the test X server";
    test::displayApp();
    test::TempHome home;
    auto store =
        std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
    auto settings = std::make_shared<AppSettings>(store, std::make_shared<BookmarkManager>(store), nullptr);
    const QRect tray(1800, 0, 24, 24);
    OnboardingWindowManager manager(settings, std::make_shared<PermissionsManager>(),
                                    [tray] { return tray; });

    manager.show();
    QQuickView* window = manager.window();
    ASSERT_NE(window, nullptr);
    ASSERT_TRUE(test::waitUntil([&] { return window->isExposed(); }, 10s));
    EXPECT_EQ(window->size(), QSize(580, 500));
    manager.show(); // raises, makes no second window
    EXPECT_EQ(manager.window(), window);

    const fs::path shots = fs::path(QCoreApplication::applicationDirPath().toStdString()) / "shots";
    fs::create_directories(shots);
    for (int page = 0; page < 4; ++page) {
        manager.viewModel()->setCurrentPage(page);
        test::runMainLoopFor(kPageSettle);
        const QImage shot = window->grabWindow();
        ASSERT_EQ(shot.size(), QSize(580, 500) * window->devicePixelRatio());
        shot.save(
            QString::fromStdString((shots / ("onboarding-page" + std::to_string(page) + ".png")).string()));
        EXPECT_TRUE(isDark(shot.pixel(4, 4))) << "page " << page;
        // Dots: 4 in a row, spacing 12, 32 from the bottom; the current one is 24 wide and white.
        const int y = 500 - 32 - 4;
        EXPECT_GT(qGray(shot.pixel(dotCenterX(page, page), y)), 200) << "page " << page;
        EXPECT_LT(qGray(shot.pixel(dotCenterX((page + 1) % 4, page), y)), 200) << "page " << page;
    }

    // A compositing manager, as far as the app can tell: the selection is ours.
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_window_t owner = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, owner, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    auto* cm = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, 13, "_NET_WM_CM_S0"), nullptr);
    ASSERT_NE(cm, nullptr);
    xcb_set_selection_owner(c, owner, cm->atom, XCB_CURRENT_TIME);
    std::free(cm);
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));

    manager.viewModel()->startVantrel();
    ASSERT_TRUE(test::waitUntil([&] { return manager.window() == nullptr; }, 5s));
    EXPECT_TRUE(settings->hasCompletedOnboarding());
    ASSERT_TRUE(test::waitUntil([&] { return manager.pointerWindow() != nullptr; }, 5s));
    EXPECT_EQ(manager.pointerWindow()->x() + 260 / 2, tray.center().x());
    EXPECT_EQ(OnboardingWindowManager::pointerCenterX(QRect(), QRect(0, 0, 1920, 1080)), 1920 - 160);
    QQuickView* pointer = manager.pointerWindow();
    ASSERT_TRUE(test::waitUntil([&] { return pointer->isExposed(); }, 10s));
    test::runMainLoopFor(1500ms); // the 0.6 s fade-in, with room for a loaded machine
    const QImage pointerShot = pointer->grabWindow();
    pointerShot.save(QString::fromStdString((shots / "onboarding-pointer.png").string()));
    // The capsule under the arrow is a dark plate with white text in its middle.
    EXPECT_LT(qGray(pointerShot.pixel(30, 100 - 8 - 18)), 80);
    // The screen dimmed to 40 percent, clear at the icon.
    QWindow* highlight = manager.highlightWindow();
    ASSERT_NE(highlight, nullptr);
    EXPECT_EQ(highlight->geometry(), QGuiApplication::primaryScreen()->geometry());
    const QImage dimmed = MenuBarHighlightWindow::picture(highlight->size(), tray.center());
    dimmed.save(QString::fromStdString((shots / "onboarding-highlight.png").string()));
    EXPECT_EQ(qAlpha(dimmed.pixel(100, 500)), 102);
    EXPECT_LT(qAlpha(dimmed.pixel(tray.center())), 5);
    EXPECT_NEAR(qAlpha(dimmed.pixel(tray.center() + QPoint(0, 50))), 51, 6) << "half way out, half dimmed";
    manager.dismissMenuBarPointer();
    EXPECT_EQ(manager.pointerWindow(), nullptr);
    EXPECT_EQ(manager.highlightWindow(), nullptr);
    xcb_disconnect(c);
}
