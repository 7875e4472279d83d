// The dashboard's model without a display: switches that need a privilege,
// the device menus' labels, the demo panel's timings with a fake player, and
// the preview camera following the webcam settings.
#include "shell/dashboard/DashboardViewModel.h"

#include "platform/runtime/UserDefaultsQSettings.h"
#include "recording/BookmarkManager.h"
#include "settings/AppSettings.h"
#include "settings/PermissionsManager.h"
#include "shell/dashboard/DeviceMenu.h"
#include "tests/shell/FakeDelayedCalls.h"
#include "tests/support/TestServices.h"

#include <gtest/gtest.h>
#include <set>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

struct World : DashboardPermissions, DemoPlayerFactory, PreviewCamera, RecordingToggle {
    // privileges
    bool trusted = false;
    int micStatus = 3, cameraStatus = 3;
    std::vector<std::function<void(bool)>> pendingRequests;
    std::vector<DashboardPermission> alerts;
    bool alertOpensSettings = false;
    bool isAccessibilityTrusted() override { return trusted; }
    int authorizationStatus(DashboardPermission media) override {
        return media == DashboardPermission::camera ? cameraStatus : micStatus;
    }
    void requestAccess(DashboardPermission, std::function<void(bool)> done) override {
        pendingRequests.push_back(std::move(done));
    }
    void runPermissionAlert(DashboardPermission permission, std::function<void(bool)> done) override {
        alerts.push_back(permission);
        done(alertOpensSettings);
    }
    // demo players
    struct Player : DemoPlayer {
        QString file;
        std::vector<std::string>* log;
        QString currentFileName() const override { return file; }
        void play() override { log->push_back("play " + file.toStdString()); }
        void pause() override { log->push_back("pause " + file.toStdString()); }
    };
    std::vector<std::string> playerLog;
    std::set<QString> missingVideos;
    std::unique_ptr<DemoPlayer> make(const QString& video) override {
        if (missingVideos.contains(video)) return nullptr;
        auto player = std::make_unique<Player>();
        player->file = video + ".mp4";
        player->log = &playerLog;
        playerLog.push_back("load " + player->file.toStdString());
        return player;
    }
    // preview camera
    bool capturing = false;
    std::vector<std::string> cameraLog;
    void startCapture(const QString& id) override {
        capturing = true;
        cameraLog.push_back("start " + id.toStdString());
    }
    void stopCapture() override {
        capturing = false;
        cameraLog.push_back("stop");
    }
    bool isCapturing() const override { return capturing; }
    // recording
    int toggles = 0;
    void toggleRecording() override { ++toggles; }
};

class DashboardViewModelTest : public ::testing::Test {
protected:
    DashboardViewModelTest() {
        auto store =
            std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
        settings = std::make_shared<AppSettings>(store, std::make_shared<BookmarkManager>(store), nullptr);
        world = std::make_shared<World>();
        model = std::make_unique<DashboardViewModel>(
            settings, nullptr,
            DashboardViewModel::Services{world, world, world, world, delays, [this](const std::string& url) {
                                             opened.push_back(url);
                                             return true;
                                         }});
    }

    QCoreApplication& app = test::qtApp();
    test::TempHome home;
    std::shared_ptr<AppSettings> settings;
    std::shared_ptr<World> world;
    std::shared_ptr<test::FakeDelayedCalls> delays = std::make_shared<test::FakeDelayedCalls>();
    std::unique_ptr<DashboardViewModel> model;
    std::vector<std::string> opened;
};

} // namespace

TEST_F(DashboardViewModelTest, SwitchingOnAsksForTheRightPrivilegeAndSwitchingOffIsPlain) {
    // Without accessibility the overlays stay off and the alert offers the settings.
    world->alertOpensSettings = true;
    for (const char* feature : {"keystrokes", "mouseClicks", "cursorText"})
        model->setFeature(feature, true);
    EXPECT_FALSE(settings->showKeystrokes() || settings->showMouseClicks() ||
                 settings->enableCursorFollowText());
    EXPECT_EQ(world->alerts, std::vector<DashboardPermission>(3, DashboardPermission::accessibility));
    EXPECT_EQ(opened, std::vector<std::string>(3, PermissionsManager::kAccessibilitySettingsURL));

    // Auto zoom and system audio need nothing.
    world->alerts.clear();
    model->setFeature("autoZoom", false);
    model->setFeature("autoZoom", true);
    model->setFeature("systemAudio", true);
    EXPECT_TRUE(settings->enableAutoZoom() && settings->enableSystemAudio());
    EXPECT_TRUE(world->alerts.empty());

    world->trusted = true;
    model->setFeature("mouseClicks", true);
    EXPECT_TRUE(settings->showMouseClicks());

    // A denied microphone: off, and the microphone's alert; undecided: on once granted.
    world->alertOpensSettings = false;
    world->micStatus = 2;
    model->setFeature("microphone", true);
    EXPECT_FALSE(settings->enableMicAudio());
    EXPECT_EQ(world->alerts, std::vector{DashboardPermission::microphone});
    world->cameraStatus = 0;
    model->setFeature("webcam", true);
    EXPECT_FALSE(settings->showWebcam()) << "not before the system answers";
    ASSERT_EQ(world->pendingRequests.size(), 1u);
    world->pendingRequests[0](true);
    EXPECT_TRUE(settings->showWebcam());

    // Off is plain even without any privilege.
    world->trusted = false;
    world->cameraStatus = 2;
    model->setFeature("mouseClicks", false);
    model->setFeature("webcam", false);
    EXPECT_FALSE(settings->showMouseClicks() || settings->showWebcam());
    EXPECT_EQ(world->alerts.size(), 1u);
}

TEST(DeviceMenuTest, TheLabelIsSystemDefaultTheDevicesNameOrUnknownDevice) {
    const std::vector<AVCaptureDevice> mics{{"usb-1", "Desk Mic", AVMediaType::audio, "src1"},
                                            {"usb-2", "Headset", AVMediaType::audio, "src2"}};
    EXPECT_EQ(deviceMenuLabel("", mics), "System Default");
    EXPECT_EQ(deviceMenuLabel("usb-2", mics), "Headset");
    EXPECT_EQ(deviceMenuLabel("usb-9", mics), "Unknown Device");
    const QVariantList entries = deviceMenuEntries(mics);
    ASSERT_EQ(entries.size(), 3);
    EXPECT_EQ(entries[0].toMap().value("id").toString(), "");
    EXPECT_EQ(entries[2].toMap().value("name").toString(), "Headset");
}

TEST_F(DashboardViewModelTest, TheDemoPanelStaysBetweenTilesAndLetsItsPlayerGoAfterTheFade) {
    settings->setEnableAutoZoom(true);
    model->playDemo("autoZoom");
    EXPECT_TRUE(model->isShowingDemo());
    EXPECT_EQ(model->demoTitle(), "Auto Zoom: ENABLED");
    EXPECT_EQ(world->playerLog,
              (std::vector<std::string>{"load demo_autozoom.mp4", "play demo_autozoom.mp4"}));

    // Tile to tile: the pause before hiding is cancelled, nothing flickers.
    model->hideDemo();
    EXPECT_EQ(delays->pendingDelays(), std::vector{100ms});
    model->playDemo("systemAudio");
    EXPECT_TRUE(delays->pendingDelays().empty());
    delays->runPending();
    EXPECT_TRUE(model->isShowingDemo());

    // Leaving: hidden after 0.1 s, the player released 0.4 s after that.
    model->hideDemo();
    delays->runPending(); // the 0.1 s pause ends; the release is queued, not run
    EXPECT_FALSE(model->isShowingDemo());
    EXPECT_TRUE(model->hasDemoPlayer());
    EXPECT_EQ(delays->pendingDelays(), std::vector{400ms});

    // Back within the fade: the release is cancelled and the same loop resumes unloaded.
    world->playerLog.clear();
    model->playDemo("systemAudio");
    delays->runPending();
    EXPECT_TRUE(model->hasDemoPlayer());
    EXPECT_EQ(world->playerLog, std::vector<std::string>{"play demo_sysaudio.mp4"});

    // A switch flipped under the pointer re-captions at once; others leave it alone.
    settings->setEnableSystemAudio(false);
    EXPECT_EQ(model->demoTitle(), "System Audio: OFF");
    settings->setEnableAutoZoom(false);
    EXPECT_EQ(model->demoTitle(), "System Audio: OFF");

    model->hideDemo();
    delays->runPending();
    delays->runPending();
    EXPECT_FALSE(model->isShowingDemo());
    EXPECT_FALSE(model->hasDemoPlayer());
    EXPECT_EQ(world->playerLog.back(), "pause demo_sysaudio.mp4");

    // A missing video shows the placeholder with the description.
    world->missingVideos.insert("demo_webcam");
    model->playDemo("webcam");
    EXPECT_FALSE(model->hasDemoPlayer());
    EXPECT_EQ(model->demoIcon(), "person.crop.rectangle");
    EXPECT_TRUE(model->demoDescription().startsWith("Your face, always in the frame."));
}

TEST_F(DashboardViewModelTest, ThePreviewCameraFollowsTheWebcamSettingsAndRestartsAfterACameraChange) {
    model->appear();
    EXPECT_TRUE(world->cameraLog.empty()) << "webcam off: no preview";

    settings->setShowWebcam(true);
    settings->setShowWebcam(false);
    EXPECT_EQ(world->cameraLog, (std::vector<std::string>{"start ", "stop"}));

    settings->setSelectedCameraID("cam-2"); // webcam off: nothing to restart
    EXPECT_TRUE(delays->pendingDelays().empty());
    settings->setShowWebcam(true);
    world->cameraLog.clear();
    settings->setSelectedCameraID("cam-3");
    EXPECT_EQ(world->cameraLog, std::vector<std::string>{"stop"});
    EXPECT_EQ(delays->pendingDelays(), std::vector{100ms}) << "the old stream lets the device go first";
    delays->runPending();
    EXPECT_EQ(world->cameraLog, (std::vector<std::string>{"stop", "start cam-3"}));

    model->playDemo("start");
    model->startRecording();
    EXPECT_EQ(world->toggles, 1);
    model->disappear();
    EXPECT_FALSE(world->capturing);
    EXPECT_EQ(world->playerLog.back(), "pause demo_recording.mp4");
}
