// The bookmark store of the custom folder and the naming of a recording's
// files, with the fall-back to Documents.
#include "recording/SaveLocation.h"

#include "platform/runtime/SecurityScopedBookmark.h"
#include "platform/runtime/UserDefaultsQSettings.h"
#include "recording/BookmarkManager.h"
#include "tests/support/TestServices.h"

#include <QDateTime>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>

using namespace vantrel;
namespace fs = std::filesystem;

namespace {

class SaveLocationTest : public ::testing::Test {
protected:
    void SetUp() override { test::qtApp(); }
    std::shared_ptr<UserDefaults> openStore() {
        return std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
    }
    URL documents() const { return URL{home.home() / "Documents"}; }
    test::TempHome home;
};

const std::string kStamp = "2025-03-03_14-05-09";

} // namespace

TEST_F(SaveLocationTest, TheDefaultFolderIsTheXdgDocumentsFolderCreatedWhenMissing) {
    BookmarkManager bookmarks(openStore());
    EXPECT_EQ(bookmarks.getDefaultDirectoryURL(), documents());
    EXPECT_TRUE(fs::is_directory(documents().path));

    // A desktop that names its documents folder otherwise (user-dirs.dirs).
    std::ofstream(home.configHome() / "user-dirs.dirs") << "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n";
    EXPECT_EQ(bookmarks.getDefaultDirectoryURL(), URL{home.home() / "Dokumente"});
    EXPECT_TRUE(fs::is_directory(home.home() / "Dokumente"));
}

TEST_F(SaveLocationTest, NoEntryGivesNothingAndPrintsNothing) {
    BookmarkManager bookmarks(openStore());
    testing::internal::CaptureStdout();
    EXPECT_FALSE(bookmarks.getSavedDirectoryURL());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(SaveLocationTest, ASavedFolderResolvesAndRestoreDefaultForgetsIt) {
    const fs::path folder = home.home() / "Screencasts";
    fs::create_directories(folder);
    BookmarkManager bookmarks(openStore());
    testing::internal::CaptureStdout();
    bookmarks.saveBookmark(URL{folder});
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "✅ Successfully saved security-scoped bookmark for: " + folder.string() + "\n");
    EXPECT_EQ(BookmarkManager(openStore()).getSavedDirectoryURL(), URL{folder});
    bookmarks.restoreDefault();
    EXPECT_FALSE(openStore()->dataForKey("saveDirectoryBookmark"));
    EXPECT_FALSE(BookmarkManager(openStore()).getSavedDirectoryURL());
}

TEST_F(SaveLocationTest, AFolderThatIsGoneFailsToResolveAndTheEntryStays) {
    const fs::path folder = home.home() / "USB-stick";
    fs::create_directories(folder);
    BookmarkManager bookmarks(openStore());
    bookmarks.saveBookmark(URL{folder});
    fs::remove(folder);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(bookmarks.getSavedDirectoryURL());
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(output.rfind("❌ Failed to resolve bookmark: ", 0), 0u);
    EXPECT_NE(output.find(folder.string()), std::string::npos);
    EXPECT_TRUE(openStore()->dataForKey("saveDirectoryBookmark"));
    // The folder comes back (the stick is plugged in): it resolves again.
    fs::create_directories(folder);
    EXPECT_EQ(bookmarks.getSavedDirectoryURL(), URL{folder});
}

TEST_F(SaveLocationTest, DataThatIsNoPathFailsToResolve) {
    for (const QByteArray& data : {QByteArray("relative/dir"), QByteArray(), QByteArray("/tmp\0x", 6)}) {
        openStore()->setData("saveDirectoryBookmark", data);
        testing::internal::CaptureStdout();
        EXPECT_FALSE(BookmarkManager(openStore()).getSavedDirectoryURL());
        EXPECT_EQ(testing::internal::GetCapturedStdout().rfind("❌ Failed to resolve bookmark: ", 0), 0u);
    }
}

TEST_F(SaveLocationTest, EveryRowOfTheNamingTable) {
    const URL custom{"/media/videos"};
    testing::internal::CaptureStdout();
    auto normal = recordingFileNames(custom, documents(), false, true, kStamp);
    auto normalFull = recordingFileNames(custom, documents(), true, true, kStamp);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(normal.zoomedURL, URL{"/media/videos/Vantrel_2025-03-03_14-05-09.mp4"});
    EXPECT_FALSE(normal.fullURL);
    EXPECT_EQ(normal.scopedDirectoryURL, custom);
    EXPECT_EQ(normalFull.zoomedURL, URL{"/media/videos/Vantrel_2025-03-03_14-05-09_Zoomed.mp4"});
    EXPECT_EQ(normalFull.fullURL, URL{"/media/videos/Vantrel_2025-03-03_14-05-09_FullScreen.mp4"});

    testing::internal::CaptureStdout();
    auto fallback = recordingFileNames(custom, documents(), false, false, kStamp);
    auto fallbackFull = recordingFileNames(custom, documents(), true, false, kStamp);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "⚠️ Custom directory access failed. Falling back to Documents.\n"
              "⚠️ Custom directory access failed. Falling back to Documents.\n");
    EXPECT_EQ(fallback.zoomedURL.path, documents().path / "Vantrel_2025-03-03_14-05-09_Fallback.mp4");
    EXPECT_FALSE(fallback.fullURL);
    EXPECT_FALSE(fallback.scopedDirectoryURL);
    // With a full file, only the full file carries the fall-back mark.
    EXPECT_EQ(fallbackFull.zoomedURL.path, documents().path / "Vantrel_2025-03-03_14-05-09_Zoomed.mp4");
    EXPECT_EQ(fallbackFull.fullURL->path,
              documents().path / "Vantrel_2025-03-03_14-05-09_FullScreen_Fallback.mp4");
    EXPECT_TRUE(fallbackFull.fellBack);
}

TEST_F(SaveLocationTest, DocumentsWithoutAccessIsNoReasonToFallBack) {
    testing::internal::CaptureStdout();
    auto files = recordingFileNames(documents(), documents(), false, false, kStamp);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(files.zoomedURL.path, documents().path / "Vantrel_2025-03-03_14-05-09.mp4");
    EXPECT_FALSE(files.fellBack);
    EXPECT_FALSE(files.scopedDirectoryURL);
}

TEST_F(SaveLocationTest, AnUnwritableOrMissingCustomFolderFallsBackAndNoAccessIsLeftOpen) {
    const fs::path locked = home.home() / "locked";
    fs::create_directories(locked);
    fs::permissions(home.home(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(locked, fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    const URL lockedURL{locked};
    const URL docs = documents();
    // Root may write anywhere; the user the app runs as may not.
    EXPECT_TRUE(test::runUnprivileged([&] { return !startAccessingSecurityScopedResource(lockedURL); }));

    AppSettingsSnapshot settings;
    settings.saveDirectoryURL = URL{home.home() / "removed-folder"};
    settings.saveFullScreenBackup = true;
    BookmarkManager bookmarks(openStore());
    testing::internal::CaptureStdout();
    const auto files = chooseRecordingFiles(settings, bookmarks);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "⚠️ Custom directory access failed. Falling back to Documents.\n");
    EXPECT_EQ(files.zoomedURL.path.parent_path(), docs.path);
    EXPECT_TRUE(files.fullURL->path.filename().string().ends_with("_FullScreen_Fallback.mp4"));
    EXPECT_EQ(activeSecurityScopedAccessCount(settings.saveDirectoryURL), 0);
}

TEST_F(SaveLocationTest, AWritableFolderIsAccessedOnceAndBothFilesShareTheTimestamp) {
    AppSettingsSnapshot settings;
    settings.saveDirectoryURL = URL{home.home()};
    settings.saveFullScreenBackup = true;
    BookmarkManager bookmarks(openStore());
    const auto files = chooseRecordingFiles(settings, bookmarks);
    ASSERT_EQ(files.scopedDirectoryURL, settings.saveDirectoryURL);
    EXPECT_EQ(activeSecurityScopedAccessCount(settings.saveDirectoryURL), 1);
    stopAccessingSecurityScopedResource(*files.scopedDirectoryURL);
    EXPECT_EQ(activeSecurityScopedAccessCount(settings.saveDirectoryURL), 0);

    // Vantrel_<yyyy-MM-dd_HH-mm-ss>_Zoomed.mp4 and _FullScreen.mp4, one stamp for both.
    auto stampOf = [](const std::string& name, const std::string& suffix) -> std::optional<std::string> {
        const std::string prefix = "Vantrel_";
        if (name.size() != prefix.size() + 19 + suffix.size() || name.rfind(prefix, 0) != 0 ||
            name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
            return std::nullopt;
        return name.substr(prefix.size(), 19);
    };
    const auto zoomedStamp = stampOf(files.zoomedURL.path.filename().string(), "_Zoomed.mp4");
    const auto fullStamp = stampOf(files.fullURL->path.filename().string(), "_FullScreen.mp4");
    ASSERT_TRUE(zoomedStamp && fullStamp);
    EXPECT_EQ(*zoomedStamp, *fullStamp);
    // The stamp is local time now, in exactly that format.
    const QDateTime stamp =
        QDateTime::fromString(QString::fromStdString(*zoomedStamp), "yyyy-MM-dd_HH-mm-ss");
    ASSERT_TRUE(stamp.isValid()) << *zoomedStamp;
    EXPECT_LE(std::abs(stamp.secsTo(QDateTime::currentDateTime())), 5);
}
