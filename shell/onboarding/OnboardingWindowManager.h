#pragma once
// Owns the first-run window and, after "Start Vantrel", the arrow that points
// at the tray icon until the user opens the tray menu. A window closed with
// its close button stays this object's: the next show() brings it back.
// Main thread only.

#include "shell/dashboard/DelayedCalls.h"
#include "shell/onboarding/MenuBarHighlightWindow.h"
#include "shell/onboarding/OnboardingViewModel.h"

#include <QObject>
#include <QRect>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QQuickView;

namespace vantrel {

class AppSettings;
class PermissionsManager;

class OnboardingWindowManager final : public QObject {
    Q_OBJECT

public:
    static constexpr int kWindowWidth = 580, kWindowHeight = 500;
    static constexpr int kPointerWidth = 260, kPointerHeight = 100;
    /// Where the arrow stands when the tray tells nothing: this far left of the screen's right edge.
    static constexpr int kFallbackInsetFromRight = 160;
    /// With no tray known, the dimmed screen's hole is centred this far below its top.
    static constexpr int kHighlightInsetFromTop = 12;
    static constexpr std::chrono::milliseconds kPointerDelay{500};

    /// Where the tray icon is on screen, when the tray says (QSystemTrayIcon::geometry()).
    using TrayIconGeometry = std::function<QRect()>;

    OnboardingWindowManager(std::shared_ptr<AppSettings> settings,
                            std::shared_ptr<PermissionsManager> permissions,
                            TrayIconGeometry trayIconGeometry = {},
                            std::shared_ptr<DelayedCalls> delays = DelayedCalls::mainThread(),
                            QObject* parent = nullptr);
    ~OnboardingWindowManager() override;

    /// Opens the window, or raises the one there is.
    void show();
    /// After "Start Vantrel": closes the window, and the pointer follows 0.5 s later.
    void completeOnboarding();
    void showMenuBarPointer();
    /// The tray menu opened (connect QMenu::aboutToShow here): the pointer goes.
    void dismissMenuBarPointer();

    QQuickView* window() const { return window_.get(); }
    QQuickView* pointerWindow() const { return pointerWindow_.get(); }
    /// The screen dimmed around the icon, under the pointer; only where a
    /// compositing manager runs.
    QWindow* highlightWindow() const { return highlightWindow_.get(); }
    OnboardingViewModel* viewModel() const { return viewModel_.get(); }

    /// The arrow's horizontal centre: the tray icon's middle when it is known
    /// and on this screen, else the screen's right edge minus 160.
    static int pointerCenterX(const QRect& trayIcon, const QRect& screen);

private:
    std::shared_ptr<AppSettings> settings_;
    std::shared_ptr<PermissionsManager> permissions_;
    TrayIconGeometry trayIconGeometry_;
    std::shared_ptr<DelayedCalls> delays_;
    std::unique_ptr<OnboardingViewModel> viewModel_;
    std::unique_ptr<QQuickView> window_;
    std::unique_ptr<MenuBarHighlightWindow> highlightWindow_;
    std::unique_ptr<QQuickView> pointerWindow_;
};

} // namespace vantrel
