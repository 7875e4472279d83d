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

using namespace vantrel;
namespace fs = std::filesystem;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

const std::string kFallBackLine = "⚠️ Custom directory access failed. Falling back to Documents.\n";

class SaveLocationTest : public ::testing::Test {
protected:
    void SetUp() override { test::qtApp(); }
    std::shared_ptr<UserDefaults> openStore() {
        return std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
    }
    fs::path documents() const { return home.home() / "Documents"; }
    test::TempHome home;
};

} // namespace

TEST_F(SaveLocationTest, TheDefaultFolderIsTheXdgDocumentsFolderCreatedWhenMissing) {
    BookmarkManager bookmarks(openStore());
    EXPECT_EQ(bookmarks.getDefaultDirectoryURL(), URL{documents()});
    EXPECT_TRUE(fs::is_directory(documents()));
    // A desktop that names its documents folder otherwise (user-dirs.dirs).
    std::ofstream(home.configHome() / "user-dirs.dirs") << "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n";
    EXPECT_EQ(bookmarks.getDefaultDirectoryURL(), URL{home.home() / "Dokumente"});
    EXPECT_TRUE(fs::is_directory(home.home() / "Dokumente"));
}

TEST_F(SaveLocationTest, ASavedFolderResolvesWhileItIsThereAndRestoreDefaultForgetsIt) {
    BookmarkManager bookmarks(openStore());
    CaptureStdout();
    EXPECT_FALSE(bookmarks.getSavedDirectoryURL());
    EXPECT_EQ(GetCapturedStdout(), "") << "no entry is no failure";

    const fs::path stick = home.home() / "USB-stick";
    fs::create_directories(stick);
    CaptureStdout();
    bookmarks.saveBookmark(URL{stick});
    EXPECT_EQ(GetCapturedStdout(), "✅ Successfully saved security-scoped bookmark for: " + stick.string() + "\n");
    EXPECT_EQ(BookmarkManager(openStore()).getSavedDirectoryURL(), URL{stick});
    // Unplugged: it fails to resolve, and the entry stays for when it comes back.
    fs::remove(stick);
    CaptureStdout();
    EXPECT_FALSE(bookmarks.getSavedDirectoryURL());
    const std::string output = GetCapturedStdout();
    EXPECT_EQ(output.rfind("❌ Failed to resolve bookmark: ", 0), 0u);
    EXPECT_NE(output.find(stick.string()), std::string::npos);
    fs::create_directories(stick);
    EXPECT_EQ(bookmarks.getSavedDirectoryURL(), URL{stick});

    bookmarks.restoreDefault();
    EXPECT_FALSE(openStore()->dataForKey("saveDirectoryBookmark"));
    // Data that is no absolute path never resolves.
    for (const QByteArray& data : {QByteArray("relative/dir"), QByteArray("/tmp\0x", 6)}) {
        openStore()->setData("saveDirectoryBookmark", data);
        CaptureStdout();
        EXPECT_FALSE(BookmarkManager(openStore()).getSavedDirectoryURL());
        EXPECT_EQ(GetCapturedStdout().rfind("❌ Failed to resolve bookmark: ", 0), 0u);
    }
}

TEST_F(SaveLocationTest, NamesInTheCustomFolderAndTheFallBackNamesInDocuments) {
    const URL custom{"/media/videos"};
    const std::string stamp = "2025-03-03_14-05-09";
    CaptureStdout();
    const auto normal = recordingFileNames(custom, URL{documents()}, false, true, stamp);
    const auto both = recordingFileNames(custom, URL{documents()}, true, true, stamp);
    // Documents itself needs no access: no reason to fall back.
    const auto inDocuments = recordingFileNames(URL{documents()}, URL{documents()}, false, false, stamp);
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_EQ(normal.zoomedURL, URL{"/media/videos/Vantrel_2025-03-03_14-05-09.mp4"});
    EXPECT_FALSE(normal.fullURL);
    EXPECT_EQ(normal.scopedDirectoryURL, custom);
    EXPECT_EQ(both.zoomedURL, URL{"/media/videos/Vantrel_2025-03-03_14-05-09_Zoomed.mp4"});
    EXPECT_EQ(both.fullURL, URL{"/media/videos/Vantrel_2025-03-03_14-05-09_FullScreen.mp4"});
    EXPECT_EQ(inDocuments.zoomedURL.path, documents() / "Vantrel_2025-03-03_14-05-09.mp4");
    EXPECT_FALSE(inDocuments.fellBack || inDocuments.scopedDirectoryURL);

    CaptureStdout();
    const auto fallback = recordingFileNames(custom, URL{documents()}, false, false, stamp);
    const auto fallbackBoth = recordingFileNames(custom, URL{documents()}, true, false, stamp);
    EXPECT_EQ(GetCapturedStdout(), kFallBackLine + kFallBackLine);
    EXPECT_EQ(fallback.zoomedURL.path, documents() / "Vantrel_2025-03-03_14-05-09_Fallback.mp4");
    EXPECT_FALSE(fallback.scopedDirectoryURL);
    // With a full file, only the full file carries the fall-back mark.
    EXPECT_EQ(fallbackBoth.zoomedURL.path, documents() / "Vantrel_2025-03-03_14-05-09_Zoomed.mp4");
    EXPECT_EQ(fallbackBoth.fullURL->path, documents() / "Vantrel_2025-03-03_14-05-09_FullScreen_Fallback.mp4");
    EXPECT_TRUE(fallbackBoth.fellBack);
}

TEST_F(SaveLocationTest, AnUnwritableOrMissingFolderFallsBackAndAWritableOneIsAccessedOnce) {
    const fs::path locked = home.home() / "locked";
    fs::create_directories(locked);
    fs::permissions(home.home(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(locked, fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    // Root may write anywhere; the user the app runs as may not.
    EXPECT_TRUE(test::runUnprivileged([url = URL{locked}] { return !startAccessingSecurityScopedResource(url); }));

    AppSettingsSnapshot settings;
    settings.saveDirectoryURL = URL{home.home() / "removed-folder"};
    settings.saveFullScreenBackup = true;
    BookmarkManager bookmarks(openStore());
    CaptureStdout();
    auto files = chooseRecordingFiles(settings, bookmarks);
    EXPECT_EQ(GetCapturedStdout(), kFallBackLine);
    EXPECT_EQ(files.zoomedURL.path.parent_path(), documents());
    EXPECT_TRUE(files.fullURL->path.filename().string().ends_with("_FullScreen_Fallback.mp4"));
    EXPECT_EQ(activeSecurityScopedAccessCount(settings.saveDirectoryURL), 0);

    settings.saveDirectoryURL = URL{home.home()};
    files = chooseRecordingFiles(settings, bookmarks);
    ASSERT_EQ(files.scopedDirectoryURL, settings.saveDirectoryURL);
    EXPECT_EQ(activeSecurityScopedAccessCount(settings.saveDirectoryURL), 1);
    stopAccessingSecurityScopedResource(*files.scopedDirectoryURL);
    EXPECT_EQ(activeSecurityScopedAccessCount(settings.saveDirectoryURL), 0);
    // Vantrel_<yyyy-MM-dd_HH-mm-ss>_Zoomed.mp4 and _FullScreen.mp4, one local-time stamp for both.
    const std::string zoomed = files.zoomedURL.path.filename().string();
    ASSERT_TRUE(zoomed.starts_with("Vantrel_") && zoomed.ends_with("_Zoomed.mp4")) << zoomed;
    const std::string stamp = zoomed.substr(8, zoomed.size() - 8 - 11);
    EXPECT_EQ(files.fullURL->path.filename().string(), "Vantrel_" + stamp + "_FullScreen.mp4");
    const QDateTime when = QDateTime::fromString(QString::fromStdString(stamp), "yyyy-MM-dd_HH-mm-ss");
    ASSERT_TRUE(when.isValid()) << stamp;
    // A minute's margin: the check runs right after the naming, even on a loaded machine.
    EXPECT_LE(std::abs(when.secsTo(QDateTime::currentDateTime())), 60);
}
