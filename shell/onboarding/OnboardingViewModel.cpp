#include "shell/onboarding/OnboardingViewModel.h"

#include "platform/runtime/Workspace.h"
#include "settings/AppSettings.h"
#include "settings/PermissionsManager.h"

#include <QPointer>
#include <algorithm>

namespace vantrel {

OnboardingViewModel::OnboardingViewModel(std::shared_ptr<AppSettings> settings,
                                         std::unique_ptr<OnboardingPermissions> permissions,
                                         std::shared_ptr<DelayedCalls> delays, OpenURL openURL,
                                         QObject* parent)
    : QObject(parent), settings_(std::move(settings)), permissions_(std::move(permissions)),
      delays_(std::move(delays)), openURL_(openURL ? std::move(openURL) : OpenURL(&NSWorkspace::openURL)) {
    screenRecording_ = permissions_->hasScreenRecordingPermission();
    accessibility_ = permissions_->hasAccessibilityPermission();
    connect(permissions_.get(), &OnboardingPermissions::permissionsChanged, this,
            &OnboardingViewModel::readPermissions);
}

OnboardingViewModel::~OnboardingViewModel() = default;

void OnboardingViewModel::setCurrentPage(int page) {
    page = std::clamp(page, kWelcomePage, kCompletionPage);
    if (page == currentPage_) return;
    currentPage_ = page;
    emit currentPageChanged();
}

void OnboardingViewModel::appear() {
    if (!isContentVisible_) {
        isContentVisible_ = true;
        emit isContentVisibleChanged();
    }
    permissions_->startMonitoringPermissions();
    readPermissions();
    if (screenRecording_ && accessibility_)
        setCurrentPage(kCompletionPage);
    else if (screenRecording_)
        setCurrentPage(kAccessibilityPage);
}

void OnboardingViewModel::disappear() {
    permissions_->stopMonitoringPermissions();
}

void OnboardingViewModel::readPermissions() {
    const bool screenRecording = permissions_->hasScreenRecordingPermission();
    const bool accessibility = permissions_->hasAccessibilityPermission();
    if (screenRecording == screenRecording_ && accessibility == accessibility_) return;
    // Whether to move on is decided now, on the page shown when the privilege
    // arrives; the step itself comes after the pause whatever the page is then.
    QPointer<OnboardingViewModel> self(this);
    if (screenRecording && !screenRecording_ && currentPage_ == kScreenRecordingPage)
        delays_->after(kAdvanceDelay, [self] {
            if (self) self->setCurrentPage(kAccessibilityPage);
        });
    if (accessibility && !accessibility_ && currentPage_ == kAccessibilityPage)
        delays_->after(kAdvanceDelay, [self] {
            if (self) self->setCurrentPage(kCompletionPage);
        });
    screenRecording_ = screenRecording;
    accessibility_ = accessibility;
    emit permissionsChanged();
}

void OnboardingViewModel::openSettings(int page) {
    if (page == kScreenRecordingPage)
        openURL_(PermissionsManager::kScreenCaptureSettingsURL);
    else if (page == kAccessibilityPage)
        openURL_(PermissionsManager::kAccessibilitySettingsURL);
}

void OnboardingViewModel::grantAccessibility() {
    permissions_->requestAccessibilityPermission();
    readPermissions();
}

void OnboardingViewModel::startVantrel() {
    permissions_->stopMonitoringPermissions();
    settings_->setHasCompletedOnboarding(true);
    QPointer<OnboardingViewModel> self(this);
    delays_->after(kCompletionDelay, [self] {
        if (self) emit self->completed();
    });
}

} // namespace vantrel
