#pragma once
// What the onboarding reads of the two privileges, and how it is told of
// changes. The real one is PermissionsManager (re-read every 0.5 s while
// monitoring); tests switch the privileges by hand. Main thread only.

#include <QObject>
#include <memory>

namespace vantrel {

class PermissionsManager;

class OnboardingPermissions : public QObject {
    Q_OBJECT
public:
    virtual bool hasScreenRecordingPermission() const = 0;
    virtual bool hasAccessibilityPermission() const = 0;
    virtual void startMonitoringPermissions() = 0;
    virtual void stopMonitoringPermissions() = 0;
    /// Switches the accessibility bus on, which is what granting means on Linux.
    virtual void requestAccessibilityPermission() = 0;

    static std::unique_ptr<OnboardingPermissions> from(std::shared_ptr<PermissionsManager> manager);

signals:
    /// Either privilege was read again; the values may be unchanged.
    void permissionsChanged();
};

} // namespace vantrel
