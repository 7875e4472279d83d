#include "shell/onboarding/OnboardingWindowManager.h"

#include "platform/displays/WindowManagerHints.h"
#include "settings/AppSettings.h"
#include "settings/PermissionsManager.h"
#include "shell/common/FixedWindow.h"
#include "shell/onboarding/MenuBarHighlightWindow.h"

#include <QGuiApplication>
#include <QPointer>
#include <QQmlContext>
#include <QQuickView>
#include <QScreen>

namespace vantrel {

OnboardingWindowManager::OnboardingWindowManager(std::shared_ptr<AppSettings> settings,
                                                 std::shared_ptr<PermissionsManager> permissions,
                                                 TrayIconGeometry trayIconGeometry,
                                                 std::shared_ptr<DelayedCalls> delays, QObject* parent)
    : QObject(parent), settings_(std::move(settings)), permissions_(std::move(permissions)),
      trayIconGeometry_(std::move(trayIconGeometry)), delays_(std::move(delays)) {}

OnboardingWindowManager::~OnboardingWindowManager() = default;

int OnboardingWindowManager::pointerCenterX(const QRect& trayIcon, const QRect& screen) {
    if (trayIcon.isValid() && !trayIcon.isEmpty() && screen.contains(trayIcon.center()))
        return trayIcon.center().x();
    return screen.right() + 1 - kFallbackInsetFromRight;
}

void OnboardingWindowManager::show() {
    if (window_) {
        const bool wasHidden = !window_->isVisible();
        window_->show();
        window_->raise();
        window_->requestActivate();
        if (wasHidden) viewModel_->appear(); // the steps of appearing run each time
        return;
    }
    viewModel_ =
        std::make_unique<OnboardingViewModel>(settings_, OnboardingPermissions::from(permissions_), delays_);
    connect(viewModel_.get(), &OnboardingViewModel::completed, this,
            &OnboardingWindowManager::completeOnboarding);

    window_ = std::make_unique<QQuickView>();
    window_->setTitle(tr("Welcome to Vantrel"));
    window_->setColor(QColor(0x0b, 0x0b, 0x12));
    window_->rootContext()->setContextProperty(QStringLiteral("onboarding"), viewModel_.get());
    window_->setResizeMode(QQuickView::SizeRootObjectToView);
    window_->setSource(QUrl(QStringLiteral("qrc:/vantrel/onboarding/Onboarding.qml")));
    makeFixedAndCentred(*window_, {kWindowWidth, kWindowHeight});
    // Closing by the title bar's button hides the window: monitoring ends,
    // the flag stays false, and show() brings this same window back.
    connect(window_.get(), &QWindow::visibleChanged, this, [this](bool visible) {
        if (!visible && viewModel_) viewModel_->disappear();
    });
    window_->show();
    window_->requestActivate();
    viewModel_->appear();
}

void OnboardingWindowManager::completeOnboarding() {
    if (!window_) return;
    window_->close();
    window_.reset();
    viewModel_.reset();
    QPointer<OnboardingWindowManager> self(this);
    delays_->after(kPointerDelay, [self] {
        if (self) self->showMenuBarPointer();
    });
}

void OnboardingWindowManager::showMenuBarPointer() {
    QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen || pointerWindow_) return;
    const QRect frame = screen->geometry();
    const QRect tray = trayIconGeometry_ ? trayIconGeometry_() : QRect();
    const int centerX = pointerCenterX(tray, frame);
    // Under a tray at the top the arrow hangs below it; with no tray known, from the screen's top.
    const int top = tray.isValid() && frame.contains(tray.center()) && tray.center().y() < frame.center().y()
                        ? tray.bottom() + 1
                        : frame.top();
    constexpr Qt::WindowFlags kOverlayFlags = Qt::ToolTip | Qt::FramelessWindowHint |
                                              Qt::WindowStaysOnTopHint | Qt::WindowTransparentForInput |
                                              Qt::WindowDoesNotAcceptFocus;
    // The screen dimmed around the icon needs a compositing manager: without
    // one the translucent full-screen window would paint the screen black.
    if (QGuiApplication::platformName() == QLatin1String("xcb") && compositingManagerRunning()) {
        const QPoint hole = tray.isValid() && frame.contains(tray.center())
                                ? tray.center() - frame.topLeft()
                                : QPoint(centerX - frame.left(), kHighlightInsetFromTop);
        highlightWindow_ = std::make_unique<MenuBarHighlightWindow>(frame, hole);
        highlightWindow_->show();
    }
    pointerWindow_ = std::make_unique<QQuickView>();
    pointerWindow_->setFlags(kOverlayFlags);
    pointerWindow_->setColor(Qt::transparent);
    pointerWindow_->setSource(QUrl(QStringLiteral("qrc:/vantrel/onboarding/MenuBarPointer.qml")));
    pointerWindow_->setGeometry(centerX - kPointerWidth / 2, top, kPointerWidth, kPointerHeight);
    pointerWindow_->show();
}

void OnboardingWindowManager::dismissMenuBarPointer() {
    if (highlightWindow_) highlightWindow_->close();
    highlightWindow_.reset();
    if (pointerWindow_) pointerWindow_->close();
    pointerWindow_.reset();
}

} // namespace vantrel
