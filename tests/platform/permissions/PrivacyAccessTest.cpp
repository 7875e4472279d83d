// Screen capture access (a plain grab, shared memory or not), accessibility trust over D-Bus, camera
// and microphone authorisation from device nodes, and settings panes.
#include "platform/permissions/PrivacyAccess.h"

#include "platform/runtime/Workspace.h"
#include "tests/support/TestServices.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace vantrel;
namespace fs = std::filesystem;

TEST(ScreenCaptureAccessTest, GrantedWithAnXServerRefusedWithout) {
    {
        // Forwarded X, VNC and containers often lack shared memory; the grabber copes, so must the check.
        test::XvfbServer noSharedMemory({"-extension", "MIT-SHM"});
        EXPECT_TRUE(ScreenCaptureAccessXcb().canCapture());
    }
    test::XvfbServer server;
    EXPECT_TRUE(ScreenCaptureAccessXcb().canCapture());
    test::ScopedEnv noDisplay("DISPLAY", ":9999");
    EXPECT_FALSE(ScreenCaptureAccessXcb().canCapture());
}

TEST(ScreenCaptureAccessTest, AServerThatWentAwayRefuses) {
    auto server = std::make_unique<test::XvfbServer>();
    const std::string display = server->display();
    server.reset();
    test::ScopedEnv gone("DISPLAY", display);
    EXPECT_FALSE(ScreenCaptureAccessXcb().canCapture());
}

class AccessibilityTrustTest : public ::testing::Test {
protected:
    void SetUp() override { test::qtApp(); }
};

TEST_F(AccessibilityTrustTest, TrustedWhenTheBusIsUpAndEnabled) {
    test::PrivateSessionBus bus(test::PrivateSessionBus::Accessibility::enabled);
    AccessibilityTrustDBus trust(QString::fromStdString(bus.address()));
    EXPECT_TRUE(trust.isTrusted());
}

TEST_F(AccessibilityTrustTest, DisabledUntilSwitchedOnLikeAScreenReaderDoes) {
    test::PrivateSessionBus bus(test::PrivateSessionBus::Accessibility::disabled);
    AccessibilityTrustDBus trust(QString::fromStdString(bus.address()));
    EXPECT_FALSE(trust.isTrusted());
    trust.enable();
    EXPECT_TRUE(trust.isTrusted());
    // Another client of the same bus sees the switch too: it is desktop-wide.
    EXPECT_TRUE(AccessibilityTrustDBus(QString::fromStdString(bus.address())).isTrusted());
}

TEST_F(AccessibilityTrustTest, NotTrustedWhenNoAccessibilityBusIsThere) {
    test::PrivateSessionBus bus(test::PrivateSessionBus::Accessibility::none);
    AccessibilityTrustDBus trust(QString::fromStdString(bus.address()));
    EXPECT_FALSE(trust.isTrusted());
    trust.enable(); // nobody to switch on: still false, and no hang
    EXPECT_FALSE(trust.isTrusted());
    EXPECT_FALSE(AccessibilityTrustDBus("unix:path=/nonexistent/bus").isTrusted());
}

TEST_F(AccessibilityTrustTest, PromptingSwitchesOnOnlyWhenAskedTo) {
    auto fake = std::make_shared<AccessibilityTrustFake>();
    AccessibilityTrust::setShared(fake);
    EXPECT_FALSE(AXIsProcessTrustedWithOptions(false));
    EXPECT_EQ(fake->enableCalls, 0);
    EXPECT_TRUE(AXIsProcessTrustedWithOptions(true));
    EXPECT_EQ(fake->enableCalls, 1);
    EXPECT_TRUE(AXIsProcessTrustedWithOptions(true)); // already trusted: nothing more to do
    EXPECT_EQ(fake->enableCalls, 1);
    fake->trusted = false;
    fake->enableGrants = false;
    EXPECT_FALSE(AXIsProcessTrustedWithOptions(true));
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

TEST_F(MediaAuthorizationTest, CameraNodesWeMayNotOpenMeanDenied) {
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

TEST_F(MediaAuthorizationTest, NoCameraAtAllIsNoRefusal) {
    EXPECT_EQ(MediaAuthorizationDevices(dev()).authorizationStatus(AVMediaType::video),
              AVAuthorizationStatusAuthorized);
    EXPECT_EQ(MediaAuthorizationDevices(dev() / "missing").authorizationStatus(AVMediaType::video),
              AVAuthorizationStatusAuthorized);
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

TEST(MediaRequestTest, RequestsAnswerTheCurrentStateWithoutAPrompt) {
    test::qtApp();
    auto fake = std::make_shared<MediaAuthorizationFake>();
    MediaAuthorization::setShared(fake);
    fake->videoStatus = AVAuthorizationStatusDenied;
    EXPECT_FALSE(QCoro::waitFor(AVCaptureDevice::requestAccessForMediaType(AVMediaType::video)));
    EXPECT_TRUE(QCoro::waitFor(AVCaptureDevice::requestAccessForMediaType(AVMediaType::audio)));
    EXPECT_EQ(AVCaptureDevice::authorizationStatusForMediaType(AVMediaType::video),
              AVAuthorizationStatusDenied);
    MediaAuthorization::setShared(nullptr);
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

TEST_F(WorkspaceTest, SettingsPanesOpenTheDesktopsOwnSettings) {
    addProgram("gnome-control-center");
    addProgram("systemsettings");
    test::ScopedEnv path("PATH", bin().string());
    {
        test::ScopedEnv desktop("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
        auto command = launchCommandForURL(
            "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility");
        ASSERT_TRUE(command);
        EXPECT_EQ(command->program, "gnome-control-center");
        EXPECT_EQ(command->arguments, QStringList{"universal-access"});
        command = launchCommandForURL(
            "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture");
        ASSERT_TRUE(command);
        EXPECT_EQ(command->arguments, QStringList{"privacy"});
    }
    {
        test::ScopedEnv desktop("XDG_CURRENT_DESKTOP", "KDE");
        auto command = launchCommandForURL(
            "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility");
        ASSERT_TRUE(command);
        EXPECT_EQ(command->program, "systemsettings");
        EXPECT_EQ(command->arguments, QStringList{"kcm_access"});
    }
}

TEST_F(WorkspaceTest, WithoutADesktopSettingsAppOneLineSaysWhatToDo) {
    test::ScopedEnv path("PATH", bin().string());
    test::ScopedEnv desktop("XDG_CURRENT_DESKTOP", "XFCE");
    const std::string url = "x-apple.systempreferences:com.apple.preference.security?Privacy_Camera";
    EXPECT_FALSE(launchCommandForURL(url));
    testing::internal::CaptureStdout();
    EXPECT_FALSE(NSWorkspace::openURL(url));
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(output, manualInstructionForURL(url) + "\n");
    EXPECT_NE(output.find("video"), std::string::npos);
}

TEST_F(WorkspaceTest, FoldersOpenWithXdgOpen) {
    addProgram("xdg-open");
    test::ScopedEnv path("PATH", bin().string());
    test::qtApp();
    EXPECT_TRUE(NSWorkspace::openURL("/tmp/some folder"));
    ASSERT_TRUE(
        test::waitUntil([&] { return fs::exists(home.home() / "launched"); }, std::chrono::seconds(5)));
    std::ifstream launched(home.home() / "launched");
    std::string line;
    std::getline(launched, line);
    EXPECT_EQ(line, (bin() / "xdg-open").string() + " /tmp/some folder");
}
