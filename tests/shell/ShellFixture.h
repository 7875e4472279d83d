#pragma once
// What the shell's tests without a display stand on: an offscreen Qt GUI,
// a temporary home with its own settings, device lists, key events,
// privileges and alerts of the test's own.

#include "devices/MediaDeviceManager.h"
#include "platform/camera/CaptureDevice.h"
#include "platform/input/InputEvents.h"
#include "platform/permissions/PrivacyAccess.h"
#include "platform/runtime/UserDefaultsQSettings.h"
#include "recording/BookmarkManager.h"
#include "settings/AppSettings.h"
#include "shell/common/AlertPresenter.h"
#include "tests/support/TestServices.h"

#include <QApplication>
#include <QCoro/QCoroTimer>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <gtest/gtest.h>
#include <vector>

namespace vantrel::test {

/// The process's QApplication on the offscreen platform, made at first call.
inline QApplication& guiApp() {
    static QApplication* app = [] {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        setenv("QT_QUICK_BACKEND", "software", 1);
        unsetenv("XDG_CURRENT_DESKTOP"); // no desktop's settings program is started
        static int argc = 1;
        static char name[] = "vantrel-shell-test";
        static char* argv[] = {name, nullptr};
        return new QApplication(argc, argv);
    }();
    return *app;
}

/// The process's QApplication on the test's X server, for tests of real
/// windows (pixels, XTest input, the accessibility bus); made at first call
/// and never destroyed, since Qt's post routines outlive statics.
inline QApplication& displayApp() {
    static int argc = 1;
    static char name[] = "vantrel-window-test";
    static char* argv[] = {name, nullptr};
    static QApplication* app = new QApplication(argc, argv);
    return *app;
}

/// Answers alerts from a queue of responses the test fills; an alert waits
/// (with the main loop running) until its answer is there.
class AlertsFake final : public AlertPresenter {
public:
    std::vector<AlertRequest> shown;
    std::deque<int> responses;
    bool waiting = false;

    QCoro::Task<int> runModal(AlertRequest request) override {
        shown.push_back(request);
        waiting = true;
        while (responses.empty())
            co_await QCoro::sleepFor(std::chrono::milliseconds(5));
        waiting = false;
        const int response = responses.front();
        responses.pop_front();
        co_return response;
    }
};

struct FixedDisplay final : DisplayManagerProvider {
    CGDirectDisplayID selectedDisplayID() const override { return 1; }
};

class ShellFixture : public ::testing::Test {
protected:
    ShellFixture() {
        guiApp();
        auto store =
            std::make_shared<UserDefaultsQSettings>(QString::fromStdString(home.settingsFile().string()));
        settings = std::make_shared<AppSettings>(store, std::make_shared<BookmarkManager>(store),
                                                 std::make_shared<FixedDisplay>());
        AppSettings::setShared(settings);
        settings->setOpenFinderAfterRecording(false);
        mics->setDevices({{"desk_mic", "Desk microphone", AVMediaType::audio, "desk_mic"}}, "desk_mic");
        cameras->setDevices({{"cam0", "Front camera", AVMediaType::video, "/dev/video0"}}, "cam0");
        MediaDeviceManager::setShared(std::make_shared<MediaDeviceManager>(cameras, mics));
        InputEvents::setShared(keys);
        screen->granted = true;
        ScreenCaptureAccess::setShared(screen);
        trust->trusted = true;
        AccessibilityTrust::setShared(trust);
        MediaAuthorization::setShared(media);
        AlertPresenter::setShared(alerts);
    }

    ~ShellFixture() override {
        // Windows closed from their own handlers go at the next turn of the loop.
        runMainLoopFor(std::chrono::milliseconds(20));
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    TempHome home;
    std::shared_ptr<AppSettings> settings;
    std::shared_ptr<CaptureDeviceListFake> mics = std::make_shared<CaptureDeviceListFake>();
    std::shared_ptr<CaptureDeviceListFake> cameras = std::make_shared<CaptureDeviceListFake>();
    std::shared_ptr<InputEventsFake> keys = std::make_shared<InputEventsFake>();
    std::shared_ptr<ScreenCaptureAccessFake> screen = std::make_shared<ScreenCaptureAccessFake>();
    std::shared_ptr<AccessibilityTrustFake> trust = std::make_shared<AccessibilityTrustFake>();
    std::shared_ptr<MediaAuthorizationFake> media = std::make_shared<MediaAuthorizationFake>();
    std::shared_ptr<AlertsFake> alerts = std::make_shared<AlertsFake>();
};

} // namespace vantrel::test
