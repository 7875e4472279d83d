// The camera preview item in an offscreen Qt Quick window (software
// renderer), fed by a CameraManager running the fake camera: it fills the
// item keeping the aspect, shows the picture as a mirror would, follows
// session changes and shows nothing without one.
#include "devices/CameraPreviewItem.h"

#include "devices/CameraManager.h"
#include "platform/camera/FakeCamera.h"
#include "tests/support/TestServices.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <gtest/gtest.h>

using namespace vantrel;
using namespace std::chrono_literals;

namespace {

QGuiApplication& guiApp() {
    if (auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance())) return *app;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    static int argc = 1;
    static char name[] = "vantrel-preview-test";
    static char* argv[] = {name, nullptr};
    // Never destroyed: Qt's GUI statics must not outlive it at exit.
    static auto* app = new QGuiApplication(argc, argv);
    return *app;
}

bool isRed(QRgb pixel) {
    return qRed(pixel) > 200 && qGreen(pixel) < 60 && qBlue(pixel) < 60;
}

class CameraPreviewItemTest : public ::testing::Test {
protected:
    void SetUp() override {
        guiApp();
        // 320x240 with the red patch at x < 80, 16 <= y < 60 as the camera sees it.
        cameras->setDevices({FakeCamera::device({320, 240, 30})});
        window = std::make_unique<QQuickWindow>(); // after the application exists
        window->resize(200, 100);
        window->setColor(Qt::black); // the item covers all of it once it has a picture
        item = new CameraPreviewItem(window->contentItem());
        item->setSize(QSizeF(200, 100));
        window->show();
    }
    void TearDown() override {
        if (manager.isCapturing()) {
            manager.stopCapture();
            test::waitUntil([&] { return !manager.isCapturing(); }, 10s);
        }
    }
    /// Starts the camera and waits until the item has drawn a picture.
    QImage startAndGrab() {
        manager.startCapture("");
        item->setSession(manager.captureSession());
        QImage shot;
        test::waitUntil(
            [&] {
                shot = window->grabWindow();
                return !shot.isNull() && qRed(shot.pixel(100, 50)) > 60;
            },
            10s);
        return shot;
    }

    std::shared_ptr<CaptureDeviceListFake> cameras = std::make_shared<CaptureDeviceListFake>();
    CameraManager manager{cameras};
    std::unique_ptr<QQuickWindow> window;
    CameraPreviewItem* item = nullptr;
};

} // namespace

TEST_F(CameraPreviewItemTest, ShowsTheRunningPictureMirroredAndFillingTheItemOrNothingWithoutASession) {
    const QImage shot = startAndGrab();
    ASSERT_FALSE(shot.isNull());
    // 320x240 into 200x100 crops rows 40 to 200: the patch (rows 16 to 60)
    // shows at the top, mirrored to the right; the counter blocks (rows 0 to
    // 8) are cut off, and there is no letterbox either.
    EXPECT_TRUE(isRed(shot.pixel(190, 5))) << std::hex << shot.pixel(190, 5);
    EXPECT_FALSE(isRed(shot.pixel(10, 5)));
    EXPECT_FALSE(isRed(shot.pixel(190, 40)));
    EXPECT_NE(qRgb(0, 0, 0), shot.pixel(100, 0) & 0xffffff);
    EXPECT_NE(qRgb(0, 0, 0), shot.pixel(5, 99) & 0xffffff);

    item->setSession(nullptr);
    EXPECT_TRUE(test::waitUntil([&] { return !isRed(window->grabWindow().pixel(190, 5)); }, 10s));
    EXPECT_EQ(item->session(), nullptr);
}
