// AppSettings on the real settings file: defaults, persistence, hand-edited
// values, snapshots, the save folder and the shortcut.
#include "settings/AppSettings.h"

#include "platform/runtime/UserDefaultsQSettings.h"
#include "recording/BookmarkManager.h"
#include "tests/support/TestServices.h"

#include <QSignalSpy>
#include <fstream>
#include <gtest/gtest.h>

using namespace vantrel;
namespace fs = std::filesystem;

namespace {

struct FixedDisplay final : DisplayManagerProvider {
    CGDirectDisplayID id = 7;
    CGDirectDisplayID selectedDisplayID() const override { return id; }
};

class AppSettingsTest : public ::testing::Test {
protected:
    void SetUp() override { test::qtApp(); }
    std::shared_ptr<UserDefaults> openStore() {
        return std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
    }
    std::unique_ptr<AppSettings> makeSettings() {
        auto store = openStore();
        return std::make_unique<AppSettings>(store, std::make_shared<BookmarkManager>(store), display);
    }
    test::TempHome home;
    URL documents = URL{home.home() / "Documents"};
    std::shared_ptr<FixedDisplay> display = std::make_shared<FixedDisplay>();
};

} // namespace

TEST_F(AppSettingsTest, SettingsSurviveANewInstanceUnderTheirKeysAndReadingStoresNothing) {
    {
        auto settings = makeSettings();
        EXPECT_TRUE(settings->enableAutoZoom());
        EXPECT_EQ(settings->recordingShortcutDisplayString(), "⌃⌥R");
        EXPECT_EQ(settings->saveDirectoryURL(), documents);
        EXPECT_FALSE(fs::exists(home.settingsFile()) && fs::file_size(home.settingsFile()) > 0);
        settings->setEnableAutoZoom(false);
        settings->setSaveFullScreenBackup(true);
        settings->setKeystrokeDisplayMode(KeystrokeDisplayMode::shortcutsOnly);
        settings->setWebcamPosition(WebcamPosition::topLeft);
        settings->setSelectedMicID("alsa_input.mic");
        settings->setHasCompletedOnboarding(true);
        settings->setRecordingShortcutKey("k");
        settings->setRecordingShortcutModifiersRaw(0x1E0000);
    }
    auto again = makeSettings();
    EXPECT_FALSE(again->enableAutoZoom());
    EXPECT_TRUE(again->saveFullScreenBackup());
    EXPECT_EQ(again->keystrokeDisplayMode(), KeystrokeDisplayMode::shortcutsOnly);
    EXPECT_EQ(again->webcamPosition(), WebcamPosition::topLeft);
    EXPECT_EQ(again->selectedMicID(), "alsa_input.mic");
    EXPECT_TRUE(again->hasCompletedOnboarding());
    // The glyphs keep their order whatever bits are set.
    EXPECT_EQ(again->recordingShortcutDisplayString(), "⌃⌥⇧⌘K");
    // The file holds the keys by their names, the modifiers without "Raw".
    auto store = openStore();
    EXPECT_EQ(store->integerForKey("recordingShortcutModifiers"), 0x1E0000);
    EXPECT_EQ(store->stringForKey("webcamPosition"), "topLeft");
    EXPECT_EQ(store->stringForKey("keystrokeDisplayMode"), "shortcutsOnly");
    again->resetRecordingShortcut();
    EXPECT_EQ(openStore()->stringForKey("recordingShortcutKey"), "r");
    EXPECT_EQ(openStore()->integerForKey("recordingShortcutModifiers"), 0xC0000);
}

TEST_F(AppSettingsTest, HandEditedValuesOfTheWrongKindReadAsDefaults) {
    fs::create_directories(home.settingsFile().parent_path());
    std::ofstream(home.settingsFile()) << "[General]\nwebcamPosition=middle\nkeystrokeDisplayMode=some\n"
                                          "enableAutoZoom=perhaps\nrecordingShortcutModifiers=-5\nshowWebcam=true\n";
    auto settings = makeSettings();
    EXPECT_EQ(settings->webcamPosition(), WebcamPosition::bottomRight);
    EXPECT_EQ(settings->keystrokeDisplayMode(), KeystrokeDisplayMode::all);
    EXPECT_TRUE(settings->enableAutoZoom());
    EXPECT_EQ(settings->recordingShortcutModifiersRaw(), 0xC0000);
    EXPECT_TRUE(settings->showWebcam());
}

TEST_F(AppSettingsTest, ASnapshotIsAPictureOfOneMomentAndOtherHoldersSeeWrites) {
    auto settings = makeSettings();
    auto other = makeSettings();
    QSignalSpy spy(settings.get(), &AppSettings::showWebcamChanged);
    settings->setShowWebcam(true);
    EXPECT_TRUE(other->showWebcam());
    EXPECT_EQ(spy.count(), 1);
    settings->setSelectedMicID("mic-1");
    const AppSettings::Snapshot snapshot = settings->makeSnapshot();
    settings->setShowWebcam(false);
    settings->setSelectedMicID("mic-2");
    settings->updateSaveDirectory(URL{home.home()});
    display->id = 9;
    EXPECT_TRUE(snapshot.showWebcam);
    EXPECT_EQ(snapshot.selectedMicID, "mic-1");
    EXPECT_EQ(snapshot.selectedDisplayID, 7u);
    EXPECT_EQ(snapshot.saveDirectoryURL, documents);
    const auto next = settings->makeSnapshot();
    EXPECT_EQ(next.selectedDisplayID, 9u);
    EXPECT_EQ(next.saveDirectoryURL, URL{home.home()});
}

TEST_F(AppSettingsTest, ACustomFolderIsKeptUntilResetAndOneWithoutABookmarkIsUsedForThisRunOnly) {
    auto settings = makeSettings();
    QSignalSpy spy(settings.get(), &AppSettings::customSaveDirectoryURLChanged);
    settings->updateSaveDirectory(URL{home.home()});
    EXPECT_EQ(spy.count(), 1);
    EXPECT_EQ(makeSettings()->customSaveDirectoryURL(), URL{home.home()});
    settings->resetSaveDirectory();
    EXPECT_EQ(settings->saveDirectoryURL(), documents);
    EXPECT_FALSE(makeSettings()->customSaveDirectoryURL());

    testing::internal::CaptureStdout();
    settings->updateSaveDirectory(URL{"relative/folder"});
    EXPECT_EQ(testing::internal::GetCapturedStdout().rfind("❌ Failed to create bookmark for relative/folder: ", 0), 0u);
    EXPECT_EQ(settings->saveDirectoryURL(), URL{"relative/folder"});
    EXPECT_FALSE(openStore()->dataForKey("saveDirectoryBookmark"));
}
