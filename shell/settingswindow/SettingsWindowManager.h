#pragma once
// The settings window ("Settings..." in the tray menu): 620 by 460, fixed,
// centred, dark, four tabs over a SettingsViewModel. Closing it destroys the
// window and its model; the next show() builds them afresh on the tab
// "General". Main thread only.

#include <QObject>
#include <memory>

class QQuickView;

namespace vantrel {

class AppSettings;
class DisplayManager;
class MediaDeviceManager;
class SettingsViewModel;

class SettingsWindowManager final : public QObject {
    Q_OBJECT

public:
    static constexpr int kWindowWidth = 620, kWindowHeight = 460;

    /// `displays` and `devices` may be null (their lists stay empty).
    SettingsWindowManager(std::shared_ptr<AppSettings> settings, std::shared_ptr<DisplayManager> displays,
                          std::shared_ptr<MediaDeviceManager> devices, QObject* parent = nullptr);
    ~SettingsWindowManager() override;

    /// Opens the settings window, or brings the open one forward.
    void show();

    QQuickView* window() const { return window_.get(); }
    SettingsViewModel* viewModel() const { return viewModel_.get(); }

private:
    void discard();

    std::shared_ptr<AppSettings> settings_;
    std::shared_ptr<DisplayManager> displays_;
    std::shared_ptr<MediaDeviceManager> devices_;
    std::unique_ptr<SettingsViewModel> viewModel_;
    std::unique_ptr<QQuickView> window_;
};

} // namespace vantrel
