#pragma once
// The app's view of its two desktop-wide privileges, screen recording and
// accessibility, and the one place that asks for them. Main thread only.
// The two fields are read at construction and then only by the monitoring
// (while the onboarding shows); nothing else updates them.

#include "platform/runtime/NSTimer.h"
#include "settings/Providers.h"

#include <QObject>
#include <memory>

namespace vantrel {

class PermissionsManager final : public QObject, public PermissionsProvider {
    Q_OBJECT
    Q_PROPERTY(bool hasScreenRecordingPermission READ hasScreenRecordingPermission NOTIFY
                   hasScreenRecordingPermissionChanged)
    Q_PROPERTY(bool hasAccessibilityPermission READ hasAccessibilityPermission NOTIFY
                   hasAccessibilityPermissionChanged)

public:
    // The settings panes, by the URLs the rest of the app opens them with (NSWorkspace).
    static constexpr const char* kScreenCaptureSettingsURL =
        "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";
    static constexpr const char* kAccessibilitySettingsURL =
        "x-apple.systempreferences:com.apple.preference.security?Privacy_Accessibility";
    static constexpr const char* kCameraSettingsURL =
        "x-apple.systempreferences:com.apple.preference.security?Privacy_Camera";
    static constexpr const char* kMicrophoneSettingsURL =
        "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";

    static constexpr double kMonitoringIntervalSeconds = 0.5;

    PermissionsManager();
    ~PermissionsManager() override;

    static std::shared_ptr<PermissionsManager> shared();
    static void setShared(std::shared_ptr<PermissionsManager> manager);

    bool hasScreenRecordingPermission() const { return hasScreenRecordingPermission_; }
    bool hasAccessibilityPermission() const { return hasAccessibilityPermission_; }
    bool isMonitoring() const { return monitoringTimer_ != nullptr; }
    const NSTimer* monitoringTimer() const { return monitoringTimer_.get(); }

    /// Re-reads both privileges every 0.5 s and assigns them (observers are
    /// told on every tick, changed or not). A second call keeps the first timer.
    void startMonitoringPermissions();
    void stopMonitoringPermissions();

    /// Both privileges now, read from the system; accessibility is not asked
    /// when screen recording is refused.
    bool checkAllPermissions() override;
    bool requestScreenRecordingPermission() override;
    bool requestAccessibilityPermission() override;
    QCoro::Task<bool> requestCameraPermission() override;

signals:
    void hasScreenRecordingPermissionChanged();
    void hasAccessibilityPermissionChanged();

private:
    void setHasScreenRecordingPermission(bool value);
    void setHasAccessibilityPermission(bool value);

    bool hasScreenRecordingPermission_ = false;
    bool hasAccessibilityPermission_ = false;
    std::unique_ptr<NSTimer> monitoringTimer_;
};

} // namespace vantrel
