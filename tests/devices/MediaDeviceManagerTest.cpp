// MediaDeviceManager over in-memory lists (plugging is a call), and over the
// microphones of the real PulseAudio daemon of the test command.
#include "devices/MediaDeviceManager.h"

#include "platform/audio/MicrophoneListPulse.h"
#include "tests/support/TestServices.h"

#include <gtest/gtest.h>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

AVCaptureDevice camera(const std::string& id) {
    return {id, "Camera " + id, AVMediaType::video, "/dev/" + id};
}
AVCaptureDevice mic(const std::string& id) {
    return {id, "Mic " + id, AVMediaType::audio, id};
}

class MediaDeviceManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::qtApp();
        cameras->setDevices({camera("usb-a"), camera("usb-b")});
        mics->setDevices({mic("built_in"), mic("headset")}, "headset");
    }
    std::shared_ptr<CaptureDeviceListFake> cameras = std::make_shared<CaptureDeviceListFake>();
    std::shared_ptr<CaptureDeviceListFake> mics = std::make_shared<CaptureDeviceListFake>();
};

std::vector<std::string> ids(const std::vector<AVCaptureDevice>& devices) {
    std::vector<std::string> result;
    for (const auto& device : devices)
        result.push_back(device.uniqueID);
    return result;
}

} // namespace

TEST_F(MediaDeviceManagerTest, ListsAreCurrentFromConstructionAndFollowPlugging) {
    MediaDeviceManager manager(cameras, mics);
    EXPECT_EQ(ids(manager.availableCameras()), (std::vector<std::string>{"usb-a", "usb-b"}));
    EXPECT_EQ(ids(manager.availableMics()), (std::vector<std::string>{"built_in", "headset"}));

    std::vector<std::string> emitted;
    QObject::connect(&manager, &MediaDeviceManager::availableCamerasChanged,
                     [&] { emitted.push_back("cameras"); });
    QObject::connect(&manager, &MediaDeviceManager::availableMicsChanged, [&] { emitted.push_back("mics"); });

    cameras->setDevices({camera("usb-b")});
    EXPECT_EQ(ids(manager.availableCameras()), std::vector<std::string>{"usb-b"});
    // Each refresh publishes both lists, the cameras first.
    EXPECT_EQ(emitted, (std::vector<std::string>{"cameras", "mics"}));

    mics->setDevices({mic("built_in"), mic("headset"), mic("usb_audio")});
    EXPECT_EQ(ids(manager.availableMics()), (std::vector<std::string>{"built_in", "headset", "usb_audio"}));
    EXPECT_EQ(emitted.size(), 4u);
}

TEST_F(MediaDeviceManagerTest, ResolvingFindsTheStoredDeviceOrFallsBackToTheDefault) {
    MediaDeviceManager manager(cameras, mics);
    EXPECT_EQ(manager.resolveCamera("usb-b")->uniqueID, "usb-b");
    EXPECT_EQ(manager.resolveMicrophone("built_in")->uniqueID, "built_in");
    // Gone or never stored: the system default, with no word.
    EXPECT_EQ(manager.resolveCamera("unplugged")->uniqueID, "usb-a");
    EXPECT_EQ(manager.resolveMicrophone("unplugged")->uniqueID, "headset");
    EXPECT_EQ(manager.resolveMicrophone("")->uniqueID, "headset");
}

TEST_F(MediaDeviceManagerTest, AnEmptyIdentifierTakesTheDefaultWithoutLookingAtTheList) {
    MediaDeviceManager manager(cameras, mics);
    // The list here still holds a camera whose identifier is empty; the
    // default wins all the same.
    cameras->setDevices({camera(""), camera("usb-b")}, "usb-b");
    EXPECT_EQ(manager.resolveCamera("")->uniqueID, "usb-b");
}

TEST_F(MediaDeviceManagerTest, WithoutCamerasNothingResolves) {
    cameras->setDevices({});
    MediaDeviceManager manager(cameras, mics);
    EXPECT_TRUE(manager.availableCameras().empty());
    EXPECT_FALSE(manager.resolveCamera(""));
    EXPECT_FALSE(manager.resolveCamera("usb-a"));
}

TEST_F(MediaDeviceManagerTest, ADeviceWithPictureAndSoundCanBeInBothLists) {
    cameras->setDevices({camera("usb-webcam")});
    mics->setDevices({mic("usb-webcam")});
    MediaDeviceManager manager(cameras, mics);
    EXPECT_EQ(manager.resolveCamera("usb-webcam")->mediaType, AVMediaType::video);
    EXPECT_EQ(manager.resolveMicrophone("usb-webcam")->mediaType, AVMediaType::audio);
}

TEST_F(MediaDeviceManagerTest, AManagerThatIsGoneNoLongerListens) {
    auto manager = std::make_unique<MediaDeviceManager>(cameras, mics);
    manager.reset();
    cameras->setDevices({camera("usb-c")}); // would crash if a handler were left behind
    MediaDeviceManager second(cameras, mics);
    EXPECT_EQ(ids(second.availableCameras()), std::vector<std::string>{"usb-c"});
}

TEST_F(MediaDeviceManagerTest, SharedIsOneInstanceThatTestsCanReplace) {
    auto own = std::make_shared<MediaDeviceManager>(cameras, mics);
    MediaDeviceManager::setShared(own);
    EXPECT_EQ(MediaDeviceManager::shared(), own);
    MediaDeviceManager::setShared(nullptr);
}

TEST(MediaDeviceManagerPulseTest, MicrophonesPluggedIntoTheSoundServerReachTheList) {
    test::qtApp();
    if (!std::getenv("PULSE_SERVER"))
        GTEST_SKIP() << "needs the sound server of scripts/with-test-services.sh";
    auto microphones = std::make_shared<MicrophoneListPulse>();
    MediaDeviceManager manager(std::make_shared<CaptureDeviceListFake>(), microphones);
    auto listed = [&](const std::string& id) {
        const auto all = ids(manager.availableMics());
        return std::find(all.begin(), all.end(), id) != all.end();
    };
    ASSERT_TRUE(listed("virtual_mic"));
    EXPECT_FALSE(listed("rec_sink.monitor"));

    ASSERT_TRUE(
        test::runCommand("pactl load-module module-null-source source_name=vantrel_usb_mic > /dev/null"));
    EXPECT_TRUE(test::waitUntil([&] { return listed("vantrel_usb_mic"); }, 3s));
    EXPECT_EQ(manager.resolveMicrophone("vantrel_usb_mic")->uniqueID, "vantrel_usb_mic");

    ASSERT_TRUE(test::runCommand(
        "pactl unload-module $(pactl list short modules | awk '/source_name=vantrel_usb_mic/ {print $1}')"));
    EXPECT_TRUE(test::waitUntil([&] { return !listed("vantrel_usb_mic"); }, 3s));
    // The stored microphone has gone: the server's default takes its place.
    const auto resolved = manager.resolveMicrophone("vantrel_usb_mic");
    ASSERT_TRUE(resolved);
    EXPECT_EQ(resolved, microphones->defaultDevice());
}
