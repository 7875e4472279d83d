// The real app on first start, with no settings, on the test services' X
// server and accessibility bus: both privileges are there, so the first-run
// window opens on its last page, and its "Start Vantrel" button, found by
// role and name on the bus and pressed through its action as a screen reader
// would, finishes it: the window goes and the flag is stored.
#include "tests/support/TestServices.h"

#include <QProcess>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

using namespace vantrel::test;
using namespace std::chrono_literals;

namespace {

std::string fileText(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// vantrel-a11y's answer: the lines it printed, or nothing when it found nothing.
std::string onTheBus(const QStringList& arguments) {
    QProcess tool;
    tool.start(VANTREL_A11Y_TOOL, arguments);
    // The tool asks again until its own --timeout; the loop keeps our side alive meanwhile.
    waitUntil([&] { return tool.state() == QProcess::NotRunning; }, 120s);
    return tool.exitCode() == 0 ? tool.readAllStandardOutput().toStdString() : std::string();
}

} // namespace

TEST(OnboardingAccessibilityLiveTest, StartVantrelPressedThroughTheBusFinishesTheFirstRun) {
    qtApp();
    if (!getenv("DISPLAY") || !getenv("DBUS_SESSION_BUS_ADDRESS"))
        GTEST_SKIP() << "needs the test services (scripts/with-test-services.sh)";
    TempHome home;
    QProcess app;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QUICK_BACKEND", "software");
    app.setProcessEnvironment(env);
    app.start(VANTREL_APP, {});
    ASSERT_TRUE(app.waitForStarted());

    // The app registers on the bus some time after its window shows; 60 s leave room for a loaded machine.
    ASSERT_NE(
        onTheBus({"--app", "Vantrel", "--role", "frame", "--name", "Welcome to Vantrel", "--timeout", "60"}),
        "");
    ASSERT_NE(onTheBus({"--app", "Vantrel", "--role", "push button", "--name", "Start Vantrel", "--press"}),
              "");
    // The flag is stored at once, the window closes 0.2 s later; 30 s for a loaded machine.
    EXPECT_TRUE(waitUntil(
        [&] {
            return fileText(home.settingsFile()).find("hasCompletedOnboarding=true") != std::string::npos;
        },
        30s))
        << fileText(home.settingsFile());
    EXPECT_TRUE(waitUntil(
        [&] {
            return onTheBus({"--app", "Vantrel", "--name", "Welcome to Vantrel"}).empty();
        },
        30s))
        << "the first-run window is still on the bus";

    // The arrow at the tray follows 0.5 s after the window; 2 s let it come on a loaded
    // machine, so that the quit does not leave its pending call behind at exit.
    runMainLoopFor(2s);
    app.terminate();
    ASSERT_TRUE(waitUntil([&] { return app.state() == QProcess::NotRunning; }, 60s));
    EXPECT_EQ(app.exitCode(), 0) << app.readAllStandardError().right(3000).toStdString();
}
