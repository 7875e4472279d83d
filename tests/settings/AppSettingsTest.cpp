// AppSettings on the real settings file: defaults, persistence, hand-edited
// values, snapshots, the save folder and the shortcut.
#include "settings/AppSettings.h"

#include "platform/runtime/DocumentsFolder.h"
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
    void writeFile(const std::string& text) {
        fs::create_directories(home.settingsFile().parent_path());
        std::ofstream(home.settingsFile()) << text;
    }
    test::TempHome home;
    std::shared_ptr<FixedDisplay> display = std::make_shared<FixedDisplay>();
};

} // namespace

TEST_F(AppSettingsTest, AFirstLaunchGivesTheDefaultsAndWritesNothing) {
    auto settings = makeSettings();
    EXPECT_TRUE(settings->enableAutoZoom());
    EXPECT_TRUE(settings->openFinderAfterRecording());
    EXPECT_TRUE(settings->enableSystemAudio());
    EXPECT_FALSE(settings->saveFullScreenBackup());
    EXPECT_FALSE(settings->enableMicAudio());
    EXPECT_FALSE(settings->showKeystrokes());
    EXPECT_FALSE(settings->showMouseClicks());
    EXPECT_FALSE(settings->enableCursorFollowText());
    EXPECT_FALSE(settings->showWebcam());
    EXPECT_FALSE(settings->includeAppInCapture());
    EXPECT_FALSE(settings->hasCompletedOnboarding());
    EXPECT_EQ(settings->keystrokeDisplayMode(), KeystrokeDisplayMode::all);
    EXPECT_EQ(settings->webcamPosition(), WebcamPosition::bottomRight);
    EXPECT_EQ(settings->selectedCameraID(), "");
    EXPECT_EQ(settings->selectedMicID(), "");
    EXPECT_EQ(settings->recordingShortcutModifiersRaw(), 0xC0000);
    EXPECT_EQ(settings->recordingShortcutDisplayString(), "⌃⌥R");
    EXPECT_FALSE(settings->customSaveDirectoryURL());
    EXPECT_EQ(settings->saveDirectoryURL(), URL{home.home() / "Documents"});
    EXPECT_TRUE(fs::is_directory(home.home() / "Documents"));
    // Reading never stores a default.
    EXPECT_FALSE(fs::exists(home.settingsFile()) && fs::file_size(home.settingsFile()) > 0);
}

TEST_F(AppSettingsTest, EveryFieldSurvivesANewInstanceUnderItsKey) {
    {
        auto settings = makeSettings();
        settings->setEnableAutoZoom(false);
        settings->setOpenFinderAfterRecording(false);
        settings->setSaveFullScreenBackup(true);
        settings->setEnableMicAudio(true);
        settings->setEnableSystemAudio(false);
        settings->setShowKeystrokes(true);
        settings->setKeystrokeDisplayMode(KeystrokeDisplayMode::shortcutsOnly);
        settings->setShowMouseClicks(true);
        settings->setEnableCursorFollowText(true);
        settings->setShowWebcam(true);
        settings->setWebcamPosition(WebcamPosition::topLeft);
        settings->setSelectedCameraID("usb-cam");
        settings->setSelectedMicID("alsa_input.mic");
        settings->setIncludeAppInCapture(true);
        settings->setHasCompletedOnboarding(true);
        settings->setRecordingShortcutKey("k");
        settings->setRecordingShortcutModifiersRaw(0x120000);
    }
    auto again = makeSettings();
    EXPECT_FALSE(again->enableAutoZoom());
    EXPECT_FALSE(again->openFinderAfterRecording());
    EXPECT_TRUE(again->saveFullScreenBackup());
    EXPECT_TRUE(again->enableMicAudio());
    EXPECT_FALSE(again->enableSystemAudio());
    EXPECT_TRUE(again->showKeystrokes());
    EXPECT_EQ(again->keystrokeDisplayMode(), KeystrokeDisplayMode::shortcutsOnly);
    EXPECT_TRUE(again->showMouseClicks());
    EXPECT_TRUE(again->enableCursorFollowText());
    EXPECT_TRUE(again->showWebcam());
    EXPECT_EQ(again->webcamPosition(), WebcamPosition::topLeft);
    EXPECT_EQ(again->selectedCameraID(), "usb-cam");
    EXPECT_EQ(again->selectedMicID(), "alsa_input.mic");
    EXPECT_TRUE(again->includeAppInCapture());
    EXPECT_TRUE(again->hasCompletedOnboarding());
    EXPECT_EQ(again->recordingShortcutDisplayString(), "⇧⌘K");

    // The file holds the keys by their names, the modifiers without "Raw".
    auto store = openStore();
    EXPECT_EQ(store->integerForKey("recordingShortcutModifiers"), 0x120000);
    EXPECT_EQ(store->stringForKey("webcamPosition"), "topLeft");
    EXPECT_EQ(store->stringForKey("keystrokeDisplayMode"), "shortcutsOnly");
    EXPECT_EQ(store->boolForKey("hasCompletedOnboarding"), true);
}

TEST_F(AppSettingsTest, HandEditedValuesOfTheWrongKindReadAsDefaults) {
    writeFile("[General]\nwebcamPosition=middle\nkeystrokeDisplayMode=some\nenableAutoZoom=perhaps\n"
              "recordingShortcutModifiers=-5\nshowWebcam=true\nrecordingShortcutKey=q\n");
    auto settings = makeSettings();
    EXPECT_EQ(settings->webcamPosition(), WebcamPosition::bottomRight);
    EXPECT_EQ(settings->keystrokeDisplayMode(), KeystrokeDisplayMode::all);
    EXPECT_TRUE(settings->enableAutoZoom());
    EXPECT_EQ(settings->recordingShortcutModifiersRaw(), 0xC0000);
    EXPECT_TRUE(settings->showWebcam());
    EXPECT_EQ(settings->recordingShortcutDisplayString(), "⌃⌥Q");
}

TEST_F(AppSettingsTest, TwoHoldersOfTheStoreSeeEachOthersWrites) {
    auto first = makeSettings();
    auto second = makeSettings();
    QSignalSpy spy(first.get(), &AppSettings::showMouseClicksChanged);
    first->setShowMouseClicks(true);
    EXPECT_TRUE(second->showMouseClicks());
    EXPECT_EQ(spy.count(), 1);
}

TEST_F(AppSettingsTest, ASnapshotIsAPictureOfOneMoment) {
    auto settings = makeSettings();
    settings->setShowWebcam(true);
    settings->setWebcamPosition(WebcamPosition::topRight);
    settings->setSelectedMicID("mic-1");
    const AppSettings::Snapshot snapshot = settings->makeSnapshot();
    EXPECT_TRUE(snapshot.showWebcam);
    EXPECT_EQ(snapshot.webcamPosition, WebcamPosition::topRight);
    EXPECT_EQ(snapshot.selectedMicID, "mic-1");
    EXPECT_EQ(snapshot.selectedDisplayID, 7u);
    EXPECT_EQ(snapshot.saveDirectoryURL, URL{home.home() / "Documents"});
    EXPECT_TRUE(snapshot.enableAutoZoom);
    EXPECT_TRUE(snapshot.enableSystemAudio);

    settings->setShowWebcam(false);
    settings->setSelectedMicID("mic-2");
    settings->updateSaveDirectory(URL{home.home()});
    display->id = 9;
    EXPECT_TRUE(snapshot.showWebcam);
    EXPECT_EQ(snapshot.selectedMicID, "mic-1");
    EXPECT_EQ(snapshot.selectedDisplayID, 7u);
    EXPECT_EQ(snapshot.saveDirectoryURL, URL{home.home() / "Documents"});
    const auto next = settings->makeSnapshot();
    EXPECT_EQ(next.selectedDisplayID, 9u);
    EXPECT_EQ(next.saveDirectoryURL, URL{home.home()});
}

TEST_F(AppSettingsTest, ACustomFolderIsKeptAcrossLaunchesUntilReset) {
    const fs::path folder = home.home() / "Videos" / "Takes";
    fs::create_directories(folder);
    {
        auto settings = makeSettings();
        QSignalSpy spy(settings.get(), &AppSettings::customSaveDirectoryURLChanged);
        testing::internal::CaptureStdout();
        settings->updateSaveDirectory(URL{folder});
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "✅ Successfully saved security-scoped bookmark for: " + folder.string() + "\n");
        EXPECT_EQ(spy.count(), 1);
        EXPECT_EQ(settings->saveDirectoryURL(), URL{folder});
    }
    auto relaunched = makeSettings();
    EXPECT_EQ(relaunched->customSaveDirectoryURL(), URL{folder});
    relaunched->resetSaveDirectory();
    EXPECT_EQ(relaunched->saveDirectoryURL(), URL{home.home() / "Documents"});
    EXPECT_FALSE(openStore()->dataForKey("saveDirectoryBookmark"));
    EXPECT_FALSE(makeSettings()->customSaveDirectoryURL());
}

TEST_F(AppSettingsTest, AFolderWhoseBookmarkCannotBeMadeIsStillUsedForThisRun) {
    auto settings = makeSettings();
    testing::internal::CaptureStdout();
    settings->updateSaveDirectory(URL{"relative/folder"});
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(output.rfind("❌ Failed to create bookmark for relative/folder: ", 0), 0u);
    EXPECT_EQ(settings->saveDirectoryURL(), URL{"relative/folder"});
    EXPECT_FALSE(openStore()->dataForKey("saveDirectoryBookmark"));
}

TEST_F(AppSettingsTest, ShortcutGlyphsKeepTheirOrderWhateverBitsAreSet) {
    auto settings = makeSettings();
    settings->setRecordingShortcutKey("k");
    settings->setRecordingModifierFlags({NSEventModifierFlags::command | NSEventModifierFlags::shift});
    EXPECT_EQ(settings->recordingShortcutDisplayString(), "⇧⌘K");
    EXPECT_EQ(settings->recordingEventModifiers().rawValue, EventModifiers::command | EventModifiers::shift);
    settings->setRecordingShortcutModifiersRaw(0x1E0000);
    EXPECT_EQ(settings->recordingShortcutDisplayString(), "⌃⌥⇧⌘K");
    settings->setRecordingShortcutModifiersRaw(0);
    EXPECT_EQ(settings->recordingShortcutDisplayString(), "K");
    EXPECT_TRUE(settings->recordingEventModifiers().isEmpty());
    settings->resetRecordingShortcut();
    EXPECT_EQ(settings->recordingShortcutDisplayString(), "⌃⌥R");
    EXPECT_EQ(openStore()->integerForKey("recordingShortcutModifiers"), 0xC0000);
    EXPECT_EQ(openStore()->stringForKey("recordingShortcutKey"), "r");
}

TEST_F(AppSettingsTest, TheSharedInstanceUsesTheStandardStoreAndTheInstalledProviders) {
    UserDefaults::setStandard(nullptr);
    BookmarkManager::setShared(nullptr);
    AppSettings::setShared(nullptr);
    DisplayManagerProvider::setShared(display);
    BookmarkManager::shared(); // the app makes it before the settings; it installs itself
    auto settings = AppSettings::shared();
    EXPECT_EQ(settings, AppSettings::shared());
    settings->setShowKeystrokes(true);
    EXPECT_EQ(openStore()->boolForKey("showKeystrokes"), true);
    EXPECT_EQ(settings->makeSnapshot().selectedDisplayID, 7u);
    AppSettings::setShared(nullptr);
    BookmarkManager::setShared(nullptr);
    DisplayManagerProvider::setShared(nullptr);
    UserDefaults::setStandard(nullptr);
}
