// The control bar offscreen: its three layouts drawn (and saved for a look),
// where it opens, its countdown and clock, and the switches that write
// through to the settings.
#include "ShellFixture.h"
#include "shell/app/TrayIcons.h"
#include "shell/controlbar/ControlBarWindowManager.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QQuickView>
#include <QScreen>

using namespace vantrel;
using namespace vantrel::test;
using namespace std::chrono_literals;
using State = AppRecordingState;

namespace {

bool isRecordingRed(QRgb pixel) {
    return qRed(pixel) > 200 && qGreen(pixel) < 110 && qBlue(pixel) < 110;
}

/// Pixels of the recording red in the columns [fromX, toX) of the image.
int redPixels(const QImage& image, int fromX, int toX) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = std::max(0, fromX); x < std::min(image.width(), toX); ++x)
            count += isRecordingRed(image.pixel(x, y));
    return count;
}

class ControlBarTest : public ShellFixture {
protected:
    /// The bar's window as drawn, kept beside the test binary for a look.
    QImage grab(const char* name) {
        runMainLoopFor(100ms); // one frame of the software renderer
        QImage image = bar.window()->grabWindow().convertToFormat(QImage::Format_ARGB32);
        image.save(QDir::current().filePath(QStringLiteral("control-bar-%1.png").arg(name)));
        return image;
    }

    ControlBarWindowManager bar;
};

} // namespace

TEST_F(ControlBarTest, TheThreeLayoutsAsDrawn) {
    bar.show(State::standby);
    bar.setCountdownRemaining(3);
    bar.setIsCountingDown(true);
    ASSERT_NE(bar.window(), nullptr);
    const QImage countdown = grab("countdown");
    // A capsule: corners left clear (the grab draws them black), the dark
    // fill in the middle, the red number in the left half.
    EXPECT_EQ(countdown.pixel(0, 0) & 0xFFFFFF, 0u);
    EXPECT_EQ(countdown.pixel(countdown.width() - 1, countdown.height() - 1) & 0xFFFFFF, 0u);
    const QRgb middle = countdown.pixel(countdown.width() / 2, 3);
    EXPECT_GT(qRed(middle), 15);
    EXPECT_LT(qRed(middle), 60);
    EXPECT_GT(redPixels(countdown, 0, countdown.width() / 2), 20);

    bar.setIsCountingDown(false);
    const QImage standby = grab("standby");
    EXPECT_GT(standby.width(), countdown.width() + 150) << "the row of switches and the start button";
    // The start button's red outline sits at the right end.
    EXPECT_GT(redPixels(standby, standby.width() * 3 / 4, standby.width()), 40);

    settings->setEnableSystemAudio(false);
    bar.setRecordingSnapshot(settings->makeSnapshot());
    bar.show(State::recording);
    const QImage recording = grab("recording");
    // The red stop disc at the right end; the pulsing dot at the left.
    EXPECT_GT(redPixels(recording, recording.width() - 50, recording.width()), 150);
    EXPECT_GT(redPixels(recording, 0, 40), 10);
}

TEST_F(ControlBarTest, ItOpensCentredBelowTheTopAndStaysWhereItIs) {
    bar.show(State::standby);
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    const QRect frame = bar.window()->geometry();
    EXPECT_EQ(frame.top(), area.top() + ControlBarWindowManager::kTopMargin);
    EXPECT_LE(std::abs(frame.center().x() - area.center().x()), 1);
    EXPECT_TRUE(bar.window()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
    EXPECT_TRUE(bar.window()->flags().testFlag(Qt::WindowStaysOnTopHint));

    bar.moveBy(-30, 25);
    const QPoint moved = bar.window()->position();
    bar.show(State::recording);
    runMainLoopFor(50ms);
    EXPECT_EQ(bar.window()->y(), moved.y()) << "a second show does not move the bar";
}

TEST_F(ControlBarTest, TheClockCountsRecordingSecondsOnlyAndOneBarServesOneRecording) {
    bar.show(State::recording);
    ASSERT_NE(bar.elapsedTimer(), nullptr);
    // Ticks come every second; ten seconds leave room for a loaded machine.
    ASSERT_TRUE(waitUntil([&] { return bar.elapsedSeconds() >= 2; }, 10s));
    bar.setState(State::paused);
    bar.updateTimers();
    const int atPause = bar.elapsedSeconds();
    runMainLoopFor(2500ms);
    EXPECT_EQ(bar.elapsedSeconds(), atPause) << "the clock stands still while paused";
    EXPECT_EQ(bar.elapsedText(), QString::asprintf("00:%02d", atPause));

    bar.show(State::recording);
    EXPECT_GE(bar.elapsedSeconds(), atPause) << "a second show keeps the clock";
    bar.close();
    EXPECT_EQ(bar.window(), nullptr);
    EXPECT_EQ(bar.elapsedTimer(), nullptr);
    bar.show(State::standby);
    EXPECT_EQ(bar.elapsedSeconds(), 0);
    EXPECT_EQ(bar.elapsedTimer(), nullptr);
}

TEST_F(ControlBarTest, SwitchesWriteThroughAndIndicatorsShowTheRecordingsOwnSettings) {
    settings->setEnableMicAudio(true);
    bar.show(State::recording);
    EXPECT_FALSE(bar.isMicMuted());
    bar.setIsMicMuted(true);
    EXPECT_FALSE(settings->enableMicAudio());
    bar.setIsWebcamEnabled(true);
    EXPECT_TRUE(settings->showWebcam());
    bar.selectMicrophone("desk_mic");
    EXPECT_EQ(settings->selectedMicID(), "desk_mic");

    settings->setShowKeystrokes(true);
    bar.setRecordingSnapshot(settings->makeSnapshot());
    settings->setShowKeystrokes(false);
    EXPECT_TRUE(bar.keystrokesIndicator()) << "the running recording's value, not the setting";
    bar.close();
    EXPECT_FALSE(bar.recordingSnapshot());
    EXPECT_FALSE(bar.keystrokesIndicator());

    const QVariantList mics = bar.micChoices();
    ASSERT_EQ(mics.size(), 2);
    EXPECT_EQ(mics[0].toMap().value("id").toString(), "");
    EXPECT_EQ(mics[1].toMap().value("name").toString(), "Desk microphone");
}

TEST(TrayIconsTest, EachStateHasItsOwnColourAndShape) {
    guiApp();
    const QColor grey(0x40, 0x40, 0x40);
    const auto draw = [&](TrayIconKind kind, const char* name) {
        QImage image = trayIconImage(kind, grey, 48);
        image.save(QDir::current().filePath(QStringLiteral("tray-%1.png").arg(name)));
        return image;
    };
    const QImage idle = draw(TrayIconKind::idle, "idle");
    const QImage recording = draw(TrayIconKind::recording, "recording");
    const QImage pause = draw(TrayIconKind::pausedPause, "paused-pause");
    const QImage pausedCamera = draw(TrayIconKind::pausedCamera, "paused-camera");
    const auto count = [](const QImage& image, auto test) {
        int n = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                n += test(image.pixel(x, y)) ? 1 : 0;
        return n;
    };
    const auto orange = [](QRgb p) {
        return qAlpha(p) > 200 && qRed(p) > 200 && qGreen(p) > 110 && qGreen(p) < 190 && qBlue(p) < 60;
    };
    EXPECT_EQ(count(idle, isRecordingRed), 0);
    EXPECT_GT(count(idle, [](QRgb p) { return qAlpha(p) > 200 && qRed(p) == 0x40; }), 50)
        << "an outline in the panel's colour";
    EXPECT_GT(count(recording, isRecordingRed), 300);
    EXPECT_GT(count(pause, orange), 600) << "a full orange disc";
    EXPECT_GT(count(pausedCamera, orange), 300);
    EXPECT_NE(pause, pausedCamera) << "the paused icon alternates between two pictures";
    EXPECT_EQ(trayIconKind(AppRecordingState::standby, false), TrayIconKind::idle);
    EXPECT_EQ(trayIconKind(AppRecordingState::paused, false), TrayIconKind::pausedCamera);
}
