// The bar's window: a frameless tool window on top of everything that never
// takes the keyboard from the user's application, on every desktop, kept
// out of the taskbar and pager, centred 40 px below the top of the primary
// screen's available area.
#include "platform/displays/WindowManagerHints.h"
#include "settings/AppSettings.h"
#include "shell/controlbar/ControlBarWindowManager.h"

#include <QAction>
#include <QActionGroup>
#include <QApplication>
#include <QMenu>
#include <QQmlContext>
#include <QQuickItem>
#include <QQuickView>
#include <QRegion>
#include <QScreen>
#include <QSurfaceFormat>
#include <QToolTip>

namespace vantrel {

namespace {

bool onX11() {
    return QGuiApplication::platformName() == QLatin1String("xcb");
}

/// The capsule's outline: a rectangle between two half discs.
QRegion capsuleRegion(QSize size) {
    const int diameter = size.height();
    QRegion region(diameter / 2, 0, std::max(0, size.width() - diameter), diameter);
    region += QRegion(0, 0, diameter, diameter, QRegion::Ellipse);
    region += QRegion(size.width() - diameter, 0, diameter, diameter, QRegion::Ellipse);
    return region;
}

} // namespace

void ControlBarWindowManager::createWindow() {
    auto view = std::make_unique<QQuickView>();
    view->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                   Qt::WindowDoesNotAcceptFocus);
    view->setTitle(QStringLiteral("Vantrel Control Bar"));
    QSurfaceFormat format = view->format();
    format.setAlphaBufferSize(8); // an ARGB window, for the capsule's clear corners
    view->setFormat(format);
    view->setColor(Qt::transparent);
    view->setResizeMode(QQuickView::SizeViewToRootObject);
    view->rootContext()->setContextProperty(QStringLiteral("bar"), this);
    view->rootContext()->setContextProperty(QStringLiteral("settings"), settings_.get());
    view->setSource(QUrl(QStringLiteral("qrc:/vantrel/controlbar/ControlBar.qml")));
    for (const auto& error : view->errors())
        qWarning("control bar: %s", qPrintable(error.toString()));

    QRect area;
    if (QScreen* screen = QGuiApplication::primaryScreen()) area = screen->availableGeometry();
    const QSize size = view->size();
    view->setPosition(area.x() + (area.width() - size.width()) / 2, area.top() + kTopMargin);
    // Translucent corners paint black without a compositing manager: cut them off.
    const bool cutCorners = onX11() && !compositingManagerRunning();
    if (cutCorners) view->setMask(capsuleRegion(size));
    QQuickView* raw = view.get();
    // A change of layout keeps the bar's centre where it was.
    connect(raw, &QWindow::widthChanged, raw, [raw, cutCorners, last = size.width()](int width) mutable {
        raw->setX(raw->x() + (last - width) / 2);
        last = width;
        if (cutCorners) raw->setMask(capsuleRegion(raw->size()));
    });
    connect(raw, &QWindow::heightChanged, raw, [raw, cutCorners](int) {
        if (cutCorners) raw->setMask(capsuleRegion(raw->size()));
    });
    window_ = std::move(view);
    applyCaptureProperties();
    window_->show();
    if (onX11()) setWindowOnAllDesktopsSkippingTaskbar(static_cast<uint32_t>(window_->winId()));
}

void ControlBarWindowManager::applyCaptureProperties() {
    // Whether our windows appear in the recording is the screen grab's
    // business; the bar only tells it which way the setting stood when the
    // bar was last shown, as the level of a panel would.
    if (window_) window_->setProperty("vantrelIncludeInCapture", settings_->includeAppInCapture());
}

bool ControlBarWindowManager::beginSystemMove() {
    return window_ && window_->startSystemMove();
}

void ControlBarWindowManager::moveBy(int dx, int dy) {
    if (window_) window_->setPosition(window_->position() + QPoint(dx, dy));
}

} // namespace vantrel

namespace vantrel {

void ControlBarWindowManager::showDeviceMenu(const QString& kind, int globalX, int globalY) {
    // A menu of its own window: the bar's window is only as tall as the bar.
    const bool camera = kind == QLatin1String("camera");
    auto* menu = new QMenu;
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addSection(camera ? tr("Camera") : tr("Microphone"));
    auto* group = new QActionGroup(menu);
    const QString current = camera ? settings_->selectedCameraID() : settings_->selectedMicID();
    for (const QVariant& row : camera ? cameraChoices() : micChoices()) {
        const auto map = row.toMap();
        const QString id = map.value("id").toString();
        QAction* action = menu->addAction(map.value("name").toString());
        action->setCheckable(true);
        action->setChecked(id == current);
        group->addAction(action);
        connect(action, &QAction::triggered, this,
                [this, camera, id] { camera ? selectCamera(id) : selectMicrophone(id); });
    }
    menu->popup(QPoint(globalX, globalY));
}

void ControlBarWindowManager::showTip(const QString& text, int globalX, int globalY) {
    QToolTip::showText(QPoint(globalX, globalY), text);
}

void ControlBarWindowManager::hideTip() {
    QToolTip::hideText();
}

} // namespace vantrel
