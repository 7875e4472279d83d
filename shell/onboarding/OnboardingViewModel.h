#pragma once
// The four first-run pages: welcome, screen recording, accessibility, ready.
// The first page shown depends on what is granted already; a privilege
// granted on its own page moves on by itself 1.2 s later (the check mark
// shows first); "Start Vantrel" sets hasCompletedOnboarding and tells the
// window manager 0.2 s later. Closing the window any other way leaves the
// flag false. Main thread only.

#include "shell/dashboard/DelayedCalls.h"
#include "shell/onboarding/OnboardingPermissions.h"

#include <QObject>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace vantrel {

class AppSettings;

class OnboardingViewModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(int currentPage READ currentPage WRITE setCurrentPage NOTIFY currentPageChanged)
    Q_PROPERTY(bool isContentVisible READ isContentVisible NOTIFY isContentVisibleChanged)
    Q_PROPERTY(bool hasScreenRecordingPermission READ hasScreenRecordingPermission NOTIFY permissionsChanged)
    Q_PROPERTY(bool hasAccessibilityPermission READ hasAccessibilityPermission NOTIFY permissionsChanged)

public:
    static constexpr int kWelcomePage = 0, kScreenRecordingPage = 1, kAccessibilityPage = 2,
                         kCompletionPage = 3;
    static constexpr std::chrono::milliseconds kAdvanceDelay{1200};
    static constexpr std::chrono::milliseconds kCompletionDelay{200};

    using OpenURL = std::function<bool(const std::string&)>;

    OnboardingViewModel(std::shared_ptr<AppSettings> settings,
                        std::unique_ptr<OnboardingPermissions> permissions,
                        std::shared_ptr<DelayedCalls> delays, OpenURL openURL = {},
                        QObject* parent = nullptr);
    ~OnboardingViewModel() override;

    int currentPage() const { return currentPage_; }
    /// "Start Setup", "Back", "Next →": any page from 0 to 3.
    void setCurrentPage(int page);
    bool isContentVisible() const { return isContentVisible_; }
    bool hasScreenRecordingPermission() const { return screenRecording_; }
    bool hasAccessibilityPermission() const { return accessibility_; }

    /// The window showed: fade in, watch the privileges, pick the first page.
    Q_INVOKABLE void appear();
    /// The window went away (closed, or finished): stop watching.
    Q_INVOKABLE void disappear();
    /// "Open System Settings" on a permission page.
    Q_INVOKABLE void openSettings(int page);
    /// "Turn On Accessibility": switches the accessibility bus on directly.
    Q_INVOKABLE void grantAccessibility();
    /// "Start Vantrel".
    Q_INVOKABLE void startVantrel();

signals:
    void currentPageChanged();
    void isContentVisibleChanged();
    void permissionsChanged();
    /// 0.2 s after "Start Vantrel".
    void completed();

private:
    void readPermissions();

    std::shared_ptr<AppSettings> settings_;
    std::unique_ptr<OnboardingPermissions> permissions_;
    std::shared_ptr<DelayedCalls> delays_;
    OpenURL openURL_;
    int currentPage_ = kWelcomePage;
    bool isContentVisible_ = false;
    bool screenRecording_ = false;
    bool accessibility_ = false;
};

} // namespace vantrel
