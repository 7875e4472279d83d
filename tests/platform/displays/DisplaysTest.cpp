// EDID names, the y flip, and the snapshot of the monitors that lookups answer
// from, renewed by RandR notifications and fresh reads. (The displays of a
// real server and their changes reach DisplayManager, tested in devices/.)
#include "platform/displays/Displays.h"

#include "platform/displays/Edid.h"
#include "tests/support/TestServices.h"

#include <array>
#include <gtest/gtest.h>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

std::array<uint8_t, 128> edidWithName(const char* name, size_t descriptor = 3) {
    std::array<uint8_t, 128> edid{};
    const uint8_t header[] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
    std::copy(std::begin(header), std::end(header), edid.begin());
    // A timing descriptor first, as real blocks have (non-zero pixel clock).
    edid[54] = 0x02;
    edid[55] = 0x3A;
    uint8_t* d = &edid[54 + descriptor * 18];
    d[3] = 0xFC;
    size_t i = 0;
    for (; name[i] && i < 13; ++i)
        d[5 + i] = static_cast<uint8_t>(name[i]);
    if (i < 13) d[5 + i++] = '\n';
    for (; i < 13; ++i)
        d[5 + i] = ' ';
    return edid;
}

} // namespace

TEST(EdidTest, ReadsTheMonitorNameDescriptor) {
    EXPECT_EQ(edidProductName(edidWithName("DELL U2720Q")), "DELL U2720Q");
    auto noName = edidWithName("X");
    noName[54 + 3 * 18 + 3] = 0xFF; // serial number, not a name
    EXPECT_FALSE(edidProductName(noName));
    auto badHeader = edidWithName("X");
    badHeader[0] = 0x01;
    EXPECT_FALSE(edidProductName(badHeader));
    const auto whole = edidWithName("X");
    EXPECT_FALSE(edidProductName(std::span<const uint8_t>(whole).first(100)));
}

TEST(DisplayCoordinatesTest, RootRectanglesFlipIntoTheMainScreensYUpSpace) {
    const CGRect main(0, 0, 1920, 1080);
    EXPECT_EQ(globalRectFromRootRect(main, main), CGRect(0, 0, 1920, 1080));
    // A screen to the right whose top is 100 px lower than the main screen's.
    EXPECT_EQ(globalRectFromRootRect(CGRect(1920, 100, 1280, 720), main), CGRect(1920, 260, 1280, 720));
    // A screen above the main one, in a root space where the main screen is not at the origin.
    EXPECT_EQ(globalRectFromRootRect(CGRect(0, 0, 1920, 1080), CGRect(0, 1080, 1920, 1080)),
              CGRect(0, 1080, 1920, 1080));
    EXPECT_EQ(globalRectFromRootRect(CGRect(100, 1180, 50, 40), CGRect(100, 1080, 1920, 1080)),
              CGRect(0, 940, 50, 40));
}

class XDisplaysTest : public ::testing::Test {
protected:
    void SetUp() override {
        test::qtApp();
        DisplayList::setShared(nullptr); // the real backend, on this test's server
    }
    void TearDown() override { DisplayList::setShared(nullptr); }
    test::XvfbServer server;
};

// Every pointer event looks displays up: the lookups answer from the list's
// snapshot and ask the server nothing until it reports a change.
TEST(DisplaySnapshotTest, LookupsAskTheServerNothingUntilTheMonitorsChange) {
    auto fake = std::make_shared<DisplayListFake>();
    DisplayList::setShared(fake);
    fake->setMonitors({Monitor{"DP-1", "", CGRect(0, 0, 800, 600), true}});
    ASSERT_EQ(CGDisplayBounds(CGMainDisplayID()), CGRect(0, 0, 800, 600));
    const int asked = fake->requestCount();
    // Far inside the snapshot's 5 s lifetime, even with sanitizers on a loaded machine.
    for (int i = 0; i < 20; ++i)
        (void)NSScreen::screens(), CGDisplayBounds(CGMainDisplayID());
    EXPECT_EQ(fake->requestCount(), asked);
    fake->setMonitors({Monitor{"HDMI-1", "", CGRect(0, 0, 640, 480), true}});
    EXPECT_EQ(CGMainDisplayID(), displayIDForMonitorName("HDMI-1"));
    DisplayList::setShared(nullptr);
}

TEST_F(XDisplaysTest, ARandrNotificationOrAFreshReadRenewsTheSnapshot) {
    const CGDirectDisplayID side = displayIDForMonitorName("SIDE");
    ASSERT_EQ(CGMainDisplayID(), displayIDForMonitorName("screen"));
    // Xvfb reports no event for a new monitor; it does for a new primary output.
    ASSERT_TRUE(server.setMonitor("SIDE", 640, 480, 1280, 0));
    ASSERT_TRUE(test::runCommand("xrandr --output screen --primary"));
    // Well inside the 5 s lifetime: only the notification can renew it this soon.
    EXPECT_TRUE(test::waitUntil([&] { return CGDisplayBounds(side) == CGRect(1280, 0, 640, 480); }, 3s));
    // Whoever changes monitors and must see it at once reads them afresh.
    ASSERT_TRUE(server.deleteMonitor("SIDE"));
    DisplayList::shared()->monitors();
    EXPECT_TRUE(CGDisplayBounds(side).isEmpty());
}
