// The settings made before anything else (by a first key press or a view)
// still come after the bookmark store and the display manager, and so see
// the custom folder and the display that an earlier run stored.
#include "devices/DisplayManager.h"
#include "platform/displays/Displays.h"
#include "recording/BookmarkManager.h"
#include "settings/AppSettings.h"
#include "tests/support/TestServices.h"

#include <gtest/gtest.h>

using namespace vantrel;

TEST(SharedObjectOrder, SettingsMadeFirstSeeTheCustomFolderAndTheStoredDisplay) {
    test::qtApp();
    test::TempHome home;
    test::XvfbServer server;
    ASSERT_TRUE(server.setMonitor("LEFT", 960, 1080, 0, 0));
    ASSERT_TRUE(server.setMonitor("RIGHT", 960, 1080, 960, 0));
    const URL folder{home.home() / "Screencasts"};
    std::filesystem::create_directories(folder.path);
    // What an earlier run stored, through stores of its own.
    BookmarkManager(UserDefaults::standard()).saveBookmark(folder);
    UserDefaults::standard()->setInteger(DisplayManager::kSelectedDisplayIDKey, displayIDForMonitorName("RIGHT"));

    testing::internal::CaptureStdout();
    const auto snapshot = AppSettings::shared()->makeSnapshot();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(snapshot.saveDirectoryURL, folder);
    EXPECT_EQ(snapshot.selectedDisplayID, displayIDForMonitorName("RIGHT"));
    // The settings made these; asking again gives the same ones.
    EXPECT_EQ(SaveDirectoryBookmarks::shared(), BookmarkManager::shared());
    EXPECT_EQ(DisplayManagerProvider::shared(), DisplayManager::shared());
}
