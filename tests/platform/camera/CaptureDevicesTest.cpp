// Device lists: microphones from the PulseAudio daemon that the test command
// starts (null sinks rec_sink and mic_feed, the remapped source virtual_mic),
// V4L2 nodes on a machine without cameras and in hand-made folders, and the
// fake camera in their place. Waits only bound how long a loaded machine may take.
#include "platform/camera/CameraListV4L2.h"
#include "platform/camera/FakeCamera.h"
#include "platform/audio/MicrophoneListPulse.h"
#include "tests/support/MediaFiles.h"
#include "tests/support/TestServices.h"

#include <fstream>
#include <gtest/gtest.h>
#include <thread>

using namespace vantrel;
using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

std::vector<std::string> ids(const std::vector<AVCaptureDevice>& devices) {
    std::vector<std::string> result;
    for (const auto& device : devices)
        result.push_back(device.uniqueID);
    return result;
}

bool lists(const CaptureDeviceList& list, const std::string& uniqueID) {
    const auto all = ids(list.devices());
    return std::find(all.begin(), all.end(), uniqueID) != all.end();
}

/// A source of its own, loaded into the running daemon and unloaded at the end.
class NullSource {
public:
    explicit NullSource(const std::string& name)
        : module_(test::commandOutput("pactl load-module module-null-source source_name=" + name +
                                      " description=Desk_Mic_" + name)
                      .value_or("")) {}
    ~NullSource() { unload(); }
    bool loaded() const { return !module_.empty(); }
    void unload() {
        if (!module_.empty()) test::runCommand("pactl unload-module " + module_);
        module_.clear();
    }

private:
    std::string module_;
};

class MicrophoneListPulseTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::qtApp();
        if (!std::getenv("PULSE_SERVER"))
            GTEST_SKIP() << "needs the sound server of scripts/with-test-services.sh";
    }
};

} // namespace

TEST_F(MicrophoneListPulseTest, ListsSourcesButNoMonitorsAndFollowsThemOnTheMainThread) {
    MicrophoneListPulse list;
    ASSERT_TRUE(lists(list, "virtual_mic"));
    EXPECT_FALSE(lists(list, "rec_sink.monitor"));
    EXPECT_FALSE(lists(list, "mic_feed.monitor"));
    int changes = 0;
    const auto mainThread = std::this_thread::get_id();
    bool onMain = true;
    list.addChangeHandler([&] {
        ++changes;
        onMain = onMain && std::this_thread::get_id() == mainThread;
    });

    NullSource source("vantrel_plug_test");
    ASSERT_TRUE(source.loaded());
    ASSERT_TRUE(test::waitUntil([&] { return lists(list, "vantrel_plug_test"); }, 10s));
    EXPECT_TRUE(test::waitUntil([&] { return changes > 0; }, 10s));
    for (const auto& device : list.devices()) {
        EXPECT_EQ(device.mediaType, AVMediaType::audio);
        // The human name is the description, not the source name.
        if (device.uniqueID == "vantrel_plug_test") {
            EXPECT_EQ(device.localizedName, "Desk_Mic_vantrel_plug_test");
        }
    }
    const int changesBefore = changes;
    source.unload();
    EXPECT_TRUE(test::waitUntil([&] { return !lists(list, "vantrel_plug_test"); }, 10s));
    EXPECT_TRUE(test::waitUntil([&] { return changes > changesBefore; }, 10s));
    EXPECT_TRUE(onMain);
}

TEST_F(MicrophoneListPulseTest, TheDefaultIsTheServersDefaultSourceUnlessThatIsAMonitor) {
    test::PrivateSoundServer server; // defaults change here, out of the way of other tests
    NullSource source("vantrel_default_test");
    ASSERT_TRUE(source.loaded());
    MicrophoneListPulse list;
    ASSERT_TRUE(test::waitUntil([&] { return lists(list, "vantrel_default_test"); }, 10s));

    ASSERT_TRUE(test::runCommand("pactl set-default-source vantrel_default_test"));
    EXPECT_TRUE(test::waitUntil(
        [&] { return list.defaultDevice() && list.defaultDevice()->uniqueID == "vantrel_default_test"; },
        10s));

    // A monitor as the server's default is no microphone: the first one stands in.
    ASSERT_TRUE(test::runCommand("pactl set-default-source rec_sink.monitor"));
    EXPECT_TRUE(test::waitUntil(
        [&] {
            return list.defaultDevice() && list.defaultDevice()->uniqueID == list.devices().front().uniqueID;
        },
        10s));

    ASSERT_TRUE(test::runCommand("pactl set-default-source virtual_mic"));
    EXPECT_TRUE(test::waitUntil(
        [&] { return list.defaultDevice() && list.defaultDevice()->uniqueID == "virtual_mic"; }, 10s));
}

TEST(MicrophoneListPulseWithoutServer, IsEmptyAndHasNoDefault) {
    test::qtApp();
    test::ScopedEnv server("PULSE_SERVER", "unix:/nonexistent/vantrel/pulse.sock");
    MicrophoneListPulse list(300ms); // gives up after that; a hang would meet the test's time-out
    EXPECT_TRUE(list.devices().empty());
    EXPECT_FALSE(list.defaultDevice());
}

TEST(CameraListV4L2Test, NodesThatAreNoCaptureDevicesAreLeftOutAndRescansReachTheMainThread) {
    test::qtApp();
    const test::TempHome scratch;
    const fs::path dir = scratch.home();
    std::ofstream(dir / "video0") << "not a device";     // opens, but no V4L2 ioctl
    fs::create_symlink("/dev/null", dir / "video1");     // a character device, but not V4L2
    fs::create_symlink(dir / "missing", dir / "video2"); // cannot be opened
    std::ofstream(dir / "videoX") << "";                 // not a node name
    EXPECT_TRUE(enumerateV4L2Cameras(dir, dir / "by-id").empty());
    EXPECT_TRUE(enumerateV4L2Cameras(dir / "absent", dir / "by-id").empty());

    auto list = std::make_unique<CameraListV4L2>(dir, dir / "by-id", false);
    EXPECT_TRUE(list->devices().empty());
    const auto mainThread = std::this_thread::get_id();
    int calls = 0;
    bool onMain = true;
    list->addChangeHandler([&] {
        ++calls;
        onMain = onMain && std::this_thread::get_id() == mainThread;
    });
    std::thread([&] { list->rescan(); }).join(); // as the udev watch does on an event
    EXPECT_EQ(calls, 0);
    EXPECT_TRUE(test::waitUntil([&] { return calls == 1; }, 10s));
    EXPECT_TRUE(onMain);
    // A rescan whose delivery finds the list gone does nothing.
    std::thread([&] { list->rescan(); }).join();
    list.reset();
    test::runMainLoopFor(50ms);
    EXPECT_EQ(calls, 1);
}
