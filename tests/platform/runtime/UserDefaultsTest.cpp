// The settings store on an INI file: kinds, persistence across instances and
// processes, files that cannot be read, and folders that cannot be written.
#include "platform/runtime/UserDefaultsQSettings.h"
#include "tests/support/TestServices.h"

#include <QByteArray>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vantrel;
namespace fs = std::filesystem;

namespace {

class UserDefaultsTest : public ::testing::Test {
protected:
    test::TempHome home;
    QString path() const { return QString::fromStdString(home.settingsFile().string()); }
    void writeFile(const std::string& text) {
        fs::create_directories(home.settingsFile().parent_path());
        std::ofstream(home.settingsFile()) << text;
    }
    std::vector<fs::path> setAsideFiles() const {
        std::vector<fs::path> found;
        for (const auto& entry : fs::directory_iterator(home.settingsFile().parent_path()))
            if (entry.path().filename().string().starts_with("Vantrel.conf.corrupt-"))
                found.push_back(entry.path());
        return found;
    }
};

} // namespace

TEST_F(UserDefaultsTest, AWriteIsInTheStandardFileAtOnceForAnotherProcess) {
    EXPECT_EQ(UserDefaultsQSettings::standardFilePath(), path());
    UserDefaultsQSettings store(path());
    store.setString("written", "here");
    // Another process reads the file without any help from this one.
    const pid_t child = fork();
    if (child == 0) {
        UserDefaultsQSettings other(path());
        const bool seen = other.stringForKey("written") == std::optional<std::string>("here");
        other.setInteger("fromChild", 42);
        _exit(seen ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    // ...and this instance sees what the other process wrote, on its next read.
    EXPECT_EQ(store.integerForKey("fromChild"), 42);
}

TEST_F(UserDefaultsTest, AFileThatCannotBeParsedOrReadIsSetAsideAndDefaultsAreUsed) {
    const std::string garbage = "[General\nenableAutoZoom=false\n\x01\x02=\xff\xfe\n=\n";
    writeFile(garbage);
    testing::internal::CaptureStdout();
    UserDefaultsQSettings store(path());
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_FALSE(store.boolForKey("enableAutoZoom"));
    const auto aside = setAsideFiles();
    ASSERT_EQ(aside.size(), 1u);
    std::ifstream kept(aside.front(), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), garbage);
    EXPECT_EQ(output.rfind("⚠️", 0), 0u);
    EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1);
    // The store goes on working with a fresh file.
    store.setBool("enableAutoZoom", false);
    EXPECT_EQ(UserDefaultsQSettings(path()).boolForKey("enableAutoZoom"), false);

    // A settings path that is a folder can be neither read nor written as a file.
    fs::remove(home.settingsFile());
    fs::create_directories(home.settingsFile() / "inside");
    testing::internal::CaptureStdout();
    UserDefaultsQSettings folder(path());
    EXPECT_NE(testing::internal::GetCapturedStdout().find("⚠️"), std::string::npos);
    EXPECT_EQ(setAsideFiles().size(), 2u);
    folder.setBool("showWebcam", true);
    EXPECT_EQ(folder.boolForKey("showWebcam"), true);
}

TEST_F(UserDefaultsTest, AFolderThatCannotBeWrittenIsReportedOnceAndNothingCrashes) {
    writeFile("[General]\nkept=1\n");
    fs::permissions(home.settingsFile(),
                    fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
    fs::permissions(home.settingsFile().parent_path(), fs::perms::owner_read | fs::perms::owner_exec |
                                                           fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(home.home(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    fs::permissions(home.configHome(),
                    fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    const bool behaved = test::runUnprivileged([&] {
        testing::internal::CaptureStdout();
        UserDefaultsQSettings store(path());
        const bool readOk = store.integerForKey("kept") == std::optional<int64_t>(1);
        store.setBool("a", true);
        store.setBool("b", true);
        const std::string output = testing::internal::GetCapturedStdout();
        const bool oneLine =
            std::count(output.begin(), output.end(), '\n') == 1 && output.rfind("⚠️", 0) == 0;
        return readOk && oneLine;
    });
    fs::permissions(home.settingsFile().parent_path(), fs::perms::owner_all);
    EXPECT_TRUE(behaved);
    EXPECT_EQ(UserDefaultsQSettings(path()).integerForKey("kept"), 1);
}
