// MediaDeviceManager over in-memory lists, where plugging is a call.
#include "devices/MediaDeviceManager.h"

#include "tests/support/TestServices.h"

#include <gtest/gtest.h>

using namespace vantrel;

namespace {

AVCaptureDevice camera(const std::string& id) {
    return {id, "Camera " + id, AVMediaType::video, "/dev/" + id};
}
AVCaptureDevice mic(const std::string& id) {
    return {id, "Mic " + id, AVMediaType::audio, id};
}
std::vector<std::string> ids(const std::vector<AVCaptureDevice>& devices) {
    std::vector<std::string> result;
    for (const auto& device : devices)
        result.push_back(device.uniqueID);
    return result;
}

} // namespace

TEST(MediaDeviceManagerTest, ListsFollowPluggingAndAStoredDeviceThatIsGoneResolvesToTheDefault) {
    test::qtApp();
    auto cameras = std::make_shared<CaptureDeviceListFake>();
    auto mics = std::make_shared<CaptureDeviceListFake>();
    cameras->setDevices({camera("usb-a"), camera("usb-b")});
    mics->setDevices({mic("built_in"), mic("headset")}, "headset");
    // A manager that is gone must not be called by the lists any more (ASan watches).
    std::make_unique<MediaDeviceManager>(cameras, mics).reset();
    MediaDeviceManager manager(cameras, mics);
    EXPECT_EQ(ids(manager.availableMics()), (std::vector<std::string>{"built_in", "headset"}));
    std::vector<std::string> emitted;
    QObject::connect(&manager, &MediaDeviceManager::availableCamerasChanged, [&] { emitted.push_back("cameras"); });
    QObject::connect(&manager, &MediaDeviceManager::availableMicsChanged, [&] { emitted.push_back("mics"); });
    cameras->setDevices({camera("usb-b")});
    EXPECT_EQ(ids(manager.availableCameras()), std::vector<std::string>{"usb-b"});
    EXPECT_EQ(emitted, (std::vector<std::string>{"cameras", "mics"})) << "each refresh publishes both lists";

    EXPECT_EQ(manager.resolveMicrophone("built_in")->uniqueID, "built_in");
    // Gone or never stored: the system default, with no word.
    EXPECT_EQ(manager.resolveMicrophone("unplugged")->uniqueID, "headset");
    EXPECT_EQ(manager.resolveMicrophone("")->uniqueID, "headset");
    // An empty identifier takes the default even when a device has an empty one.
    cameras->setDevices({camera(""), camera("usb-c")}, "usb-c");
    EXPECT_EQ(manager.resolveCamera("")->uniqueID, "usb-c");
    EXPECT_EQ(manager.resolveCamera("usb-a")->uniqueID, "usb-c");
    // A device with picture and sound is in both lists, each with its kind.
    mics->setDevices({mic("usb-c")});
    EXPECT_EQ(manager.resolveMicrophone("usb-c")->mediaType, AVMediaType::audio);
    cameras->setDevices({});
    EXPECT_FALSE(manager.resolveCamera(""));
}
