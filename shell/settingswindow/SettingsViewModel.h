#pragma once
// What the settings window shows and does: the selected tab, the save
// folder with Change…/Reset, which rows are shown, the display and device
// choices, and the shortcut field. Toggles bind straight to AppSettings (the
// `settings` property), so every change is stored at once and counts from the
// next recording. Main thread only.

#include "shell/settingswindow/FolderChooser.h"
#include "shell/settingswindow/ShortcutFieldModel.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QVariantList>
#include <memory>
#include <optional>

namespace vantrel {

class AppSettings;
class DisplayManager;
class MediaDeviceManager;

class SettingsViewModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(QObject* settings READ settingsObject CONSTANT)
    Q_PROPERTY(QObject* shortcutField READ shortcutField CONSTANT)
    Q_PROPERTY(QString selectedTab READ selectedTab WRITE setSelectedTab NOTIFY selectedTabChanged)
    Q_PROPERTY(QString saveFolderName READ saveFolderName NOTIFY saveFolderChanged)
    Q_PROPERTY(QString saveFolderPath READ saveFolderPath NOTIFY saveFolderChanged)
    Q_PROPERTY(bool showsResetSaveLocation READ showsResetSaveLocation NOTIFY saveFolderChanged)
    Q_PROPERTY(bool showsFullScreenBackupRow READ showsFullScreenBackupRow NOTIFY rowsChanged)
    Q_PROPERTY(bool showsDisplayModeRow READ showsDisplayModeRow NOTIFY rowsChanged)
    Q_PROPERTY(bool showsMicrophonePicker READ showsMicrophonePicker NOTIFY rowsChanged)
    Q_PROPERTY(bool showsCameraPickers READ showsCameraPickers NOTIFY rowsChanged)
    Q_PROPERTY(QVariantList displays READ displays NOTIFY displaysChanged)
    Q_PROPERTY(bool isDetectingDisplays READ isDetectingDisplays NOTIFY displaysChanged)
    Q_PROPERTY(int selectedDisplayIndex READ selectedDisplayIndex NOTIFY displaysChanged)
    Q_PROPERTY(QVariantList microphones READ microphones NOTIFY devicesChanged)
    Q_PROPERTY(QVariantList cameras READ cameras NOTIFY devicesChanged)
    Q_PROPERTY(int selectedMicrophoneIndex READ selectedMicrophoneIndex NOTIFY devicesChanged)
    Q_PROPERTY(int selectedCameraIndex READ selectedCameraIndex NOTIFY devicesChanged)
    Q_PROPERTY(int keystrokeDisplayModeIndex READ keystrokeDisplayModeIndex WRITE setKeystrokeDisplayModeIndex
                   NOTIFY choicesChanged)
    Q_PROPERTY(
        int webcamPositionIndex READ webcamPositionIndex WRITE setWebcamPositionIndex NOTIFY choicesChanged)

public:
    static constexpr const char* kTabs[] = {"general", "overlay", "audio", "webcam"};

    /// `displays` and `devices` may be null (no display server): the lists stay empty.
    SettingsViewModel(std::shared_ptr<AppSettings> settings, std::shared_ptr<DisplayManager> displays,
                      std::shared_ptr<MediaDeviceManager> devices,
                      std::unique_ptr<FolderChooser> folderChooser, QObject* parent = nullptr);
    ~SettingsViewModel() override;

    QObject* settingsObject() const;
    ShortcutFieldModel* shortcutField() { return &shortcutField_; }

    QString selectedTab() const { return selectedTab_; }
    void setSelectedTab(const QString& tab);

    QString saveFolderName() const;
    QString saveFolderPath() const;
    bool showsResetSaveLocation() const;
    bool showsFullScreenBackupRow() const;
    bool showsDisplayModeRow() const;
    bool showsMicrophonePicker() const;
    bool showsCameraPickers() const;

    /// {"name", "id"} per display; empty while none is detected (the view shows a spinner).
    QVariantList displays() const;
    bool isDetectingDisplays() const { return displays().isEmpty(); }
    int selectedDisplayIndex() const;
    QVariantList microphones() const;
    QVariantList cameras() const;
    int selectedMicrophoneIndex() const;
    int selectedCameraIndex() const;
    /// The pickers' rows: "Show all inputs", "Show shortcuts only"; the four corners in order.
    int keystrokeDisplayModeIndex() const;
    void setKeystrokeDisplayModeIndex(int index);
    int webcamPositionIndex() const;
    void setWebcamPositionIndex(int index);

    /// "Change…": the folder chooser, then the new folder if one was chosen.
    Q_INVOKABLE void changeSaveFolder();
    Q_INVOKABLE void resetSaveFolder();
    Q_INVOKABLE void resetShortcut();
    Q_INVOKABLE void redetectDisplays();
    Q_INVOKABLE void selectDisplay(int index);
    Q_INVOKABLE void selectMicrophone(int index);
    Q_INVOKABLE void selectCamera(int index);

signals:
    void selectedTabChanged();
    void saveFolderChanged();
    void rowsChanged();
    void displaysChanged();
    void devicesChanged();
    void choicesChanged();

private:
    std::shared_ptr<AppSettings> settings_;
    std::shared_ptr<DisplayManager> displays_;
    std::shared_ptr<MediaDeviceManager> devices_;
    std::unique_ptr<FolderChooser> folderChooser_;
    ShortcutFieldModel shortcutField_;
    QString selectedTab_ = QStringLiteral("general");
    std::optional<QCoro::Task<>> refresh_;
};

} // namespace vantrel
