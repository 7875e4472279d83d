// Screen capture access (a plain grab, shared memory or not), accessibility trust over D-Bus, camera
// and microphone authorisation from device nodes, and settings panes.
#include "platform/permissions/PrivacyAccess.h"

#include "platform/runtime/Workspace.h"
#include "tests/support/TestServices.h"

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace vantrel;
namespace fs = std::filesystem;

TEST(ScreenCaptureAccessTest, GrantedWithOrWithoutSharedMemoryRefusedWhenTheServerWentAway) {
    {
        // Forwarded X, VNC and containers often lack shared memory; the grabber copes, so must the check.
        test::XvfbServer noSharedMemory({"-extension", "MIT-SHM"});
        EXPECT_TRUE(ScreenCaptureAccessXcb().canCapture());
    }
    auto server = std::make_unique<test::XvfbServer>();
    const std::string display = server->display();
    EXPECT_TRUE(ScreenCaptureAccessXcb().canCapture());
    server.reset();
    test::ScopedEnv gone("DISPLAY", display);
    EXPECT_FALSE(ScreenCaptureAccessXcb().canCapture());
}

class AccessibilityTrustTest : public ::testing::Test {
protected:
    void SetUp() override { test::qtApp(); }
};

TEST_F(AccessibilityTrustTest, DisabledUntilSwitchedOnDesktopWideAndNeverWithoutABus) {
    test::PrivateSessionBus bus(test::PrivateSessionBus::Accessibility::disabled);
    AccessibilityTrustDBus trust(QString::fromStdString(bus.address()));
    EXPECT_FALSE(trust.isTrusted());
    trust.enable(); // as a screen reader does
    EXPECT_TRUE(trust.isTrusted());
    // Another client of the same bus sees the switch too.
    EXPECT_TRUE(AccessibilityTrustDBus(QString::fromStdString(bus.address())).isTrusted());

    test::PrivateSessionBus plain(test::PrivateSessionBus::Accessibility::none);
    AccessibilityTrustDBus alone(QString::fromStdString(plain.address()));
    alone.enable(); // nobody to switch on: still false, and no hang
    EXPECT_FALSE(alone.isTrusted());
    EXPECT_FALSE(AccessibilityTrustDBus("unix:path=/nonexistent/bus").isTrusted());
}

TEST_F(AccessibilityTrustTest, PromptingSwitchesOnOnlyWhenAskedToAndNotTwice) {
    auto fake = std::make_shared<AccessibilityTrustFake>();
    AccessibilityTrust::setShared(fake);
    EXPECT_FALSE(AXIsProcessTrustedWithOptions(false));
    EXPECT_TRUE(AXIsProcessTrustedWithOptions(true));
    EXPECT_TRUE(AXIsProcessTrustedWithOptions(true));
    EXPECT_EQ(fake->enableCalls, 1);
    AccessibilityTrust::setShared(nullptr);
}

class MediaAuthorizationTest : public ::testing::Test {
protected:
    test::TempHome home; // a scratch folder for device nodes and sockets
    fs::path dev() const { return home.home() / "dev"; }
    void SetUp() override {
        fs::create_directories(dev());
        fs::permissions(home.home(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
        fs::permissions(dev(), fs::perms::owner_all | fs::perms::others_read | fs::perms::others_exec);
    }
    void addNode(const std::string& name, fs::perms perms) {
        std::ofstream(dev() / name) << "";
        fs::permissions(dev() / name, perms);
    }
};

TEST_F(MediaAuthorizationTest, CameraNodesWeMayNotOpenMeanDeniedButNoCameraIsNoRefusal) {
    EXPECT_EQ(MediaAuthorizationDevices(dev()).authorizationStatus(AVMediaType::video),
              AVAuthorizationStatusAuthorized);
    addNode("video0", fs::perms::owner_read | fs::perms::owner_write);
    addNode("null", fs::perms::all);
    const fs::path devices = dev();
    EXPECT_TRUE(test::runUnprivileged([devices] {
        return MediaAuthorizationDevices(devices).authorizationStatus(AVMediaType::video) ==
               AVAuthorizationStatusDenied;
    }));
    // One node that opens is enough.
    addNode("video1", fs::perms::all);
    EXPECT_TRUE(test::runUnprivileged([devices] {
        return MediaAuthorizationDevices(devices).authorizationStatus(AVMediaType::video) ==
               AVAuthorizationStatusAuthorized;
    }));
}

TEST_F(MediaAuthorizationTest, ASoundServerSocketThatTurnsUsAwayMeansDenied) {
    const fs::path socketPath = home.home() / "pulse.sock";
    const int server = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, socketPath.c_str());
    ASSERT_EQ(bind(server, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(server, 4), 0);
    test::ScopedEnv pulse("PULSE_SERVER", "unix:" + socketPath.string());
    EXPECT_EQ(MediaAuthorizationDevices(dev()).authorizationStatus(AVMediaType::audio),
              AVAuthorizationStatusAuthorized);
    fs::permissions(socketPath, fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_TRUE(test::runUnprivileged([devices = dev()] {
        return MediaAuthorizationDevices(devices).authorizationStatus(AVMediaType::audio) ==
               AVAuthorizationStatusDenied;
    }));
    close(server);
}

class WorkspaceTest : public ::testing::Test {
protected:
    test::TempHome home;
    fs::path bin() const { return home.home() / "bin"; }
    void addProgram(const std::string& name) {
        fs::create_directories(bin());
        std::ofstream(bin() / name) << "#!/bin/sh\necho \"$0 $*\" >> '" << (home.home() / "launched").string()
                                    << "'\n";
        fs::permissions(bin() / name, fs::perms::owner_all);
    }
};

TEST_F(WorkspaceTest, SettingsPanesOpenTheDesktopsSettingsOrSayWhatToDoAndFoldersOpenWithXdgOpen) {
    test::qtApp();
    addProgram("gnome-control-center");
    addProgram("xdg-open");
    test::ScopedEnv path("PATH", bin().string());
    const std::string prefix = "x-apple.systempreferences:com.apple.preference.security?";
    {
        test::ScopedEnv desktop("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
        const auto command = launchCommandForURL(prefix + "Privacy_Accessibility");
        ASSERT_TRUE(command);
        EXPECT_EQ(command->program, "gnome-control-center");
        EXPECT_EQ(command->arguments, QStringList{"universal-access"});
    }
    {
        test::ScopedEnv desktop("XDG_CURRENT_DESKTOP", "XFCE");
        testing::internal::CaptureStdout();
        EXPECT_FALSE(NSWorkspace::openURL(prefix + "Privacy_Camera"));
        const std::string output = testing::internal::GetCapturedStdout();
        EXPECT_EQ(output, manualInstructionForURL(prefix + "Privacy_Camera") + "\n");
        EXPECT_NE(output.find("video"), std::string::npos);
    }
    EXPECT_TRUE(NSWorkspace::openURL("/tmp/some folder"));
    // The shell creates the file before its echo lands in it: wait for the whole line, not the file.
    std::string launched;
    ASSERT_TRUE(test::waitUntil(
        [&] {
            std::ifstream file(home.home() / "launched");
            launched.assign(std::istreambuf_iterator<char>(file), {});
            return launched.ends_with('\n');
        },
        std::chrono::seconds(30)));
    EXPECT_EQ(launched, (bin() / "xdg-open").string() + " /tmp/some folder\n");
}
