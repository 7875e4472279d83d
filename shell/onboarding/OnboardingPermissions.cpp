#include "shell/onboarding/OnboardingPermissions.h"

#include "settings/PermissionsManager.h"

namespace vantrel {

namespace {

class OnboardingPermissionsManager final : public OnboardingPermissions {
public:
    explicit OnboardingPermissionsManager(std::shared_ptr<PermissionsManager> manager)
        : manager_(std::move(manager)) {
        connect(manager_.get(), &PermissionsManager::hasScreenRecordingPermissionChanged, this,
                &OnboardingPermissions::permissionsChanged);
        connect(manager_.get(), &PermissionsManager::hasAccessibilityPermissionChanged, this,
                &OnboardingPermissions::permissionsChanged);
    }
    bool hasScreenRecordingPermission() const override { return manager_->hasScreenRecordingPermission(); }
    bool hasAccessibilityPermission() const override { return manager_->hasAccessibilityPermission(); }
    void startMonitoringPermissions() override { manager_->startMonitoringPermissions(); }
    void stopMonitoringPermissions() override { manager_->stopMonitoringPermissions(); }
    void requestAccessibilityPermission() override { manager_->requestAccessibilityPermission(); }

private:
    std::shared_ptr<PermissionsManager> manager_;
};

} // namespace

std::unique_ptr<OnboardingPermissions>
OnboardingPermissions::from(std::shared_ptr<PermissionsManager> manager) {
    return std::make_unique<OnboardingPermissionsManager>(std::move(manager));
}

} // namespace vantrel
