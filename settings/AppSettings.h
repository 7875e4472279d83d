#pragma once
// Everything the user can set, kept in the standard user defaults so that it
// survives a restart. Main thread only; threads other than main work with a
// Snapshot. Every read asks the store (a missing key, a value of the wrong
// kind or an unknown raw string gives the default, and nothing is written
// back); every write reaches the store at once and emits the field's signal.

#include "engine/FrameInputs.h"
#include "platform/input/ModifierFlags.h"
#include "platform/core/SharedTypes.h"
#include "platform/runtime/UserDefaults.h"
#include "settings/Providers.h"

#include <QObject>
#include <QString>
#include <memory>
#include <optional>
#include <string_view>

namespace vantrel {

class AppSettings final : public QObject, public AppSettingsProvider {
    Q_OBJECT
    Q_PROPERTY(bool enableAutoZoom READ enableAutoZoom WRITE setEnableAutoZoom NOTIFY enableAutoZoomChanged)
    Q_PROPERTY(bool openFinderAfterRecording READ openFinderAfterRecording WRITE setOpenFinderAfterRecording
                   NOTIFY openFinderAfterRecordingChanged)
    Q_PROPERTY(bool saveFullScreenBackup READ saveFullScreenBackup WRITE setSaveFullScreenBackup NOTIFY
                   saveFullScreenBackupChanged)
    Q_PROPERTY(
        QString customSaveDirectoryPath READ customSaveDirectoryPath NOTIFY customSaveDirectoryURLChanged)
    Q_PROPERTY(bool enableMicAudio READ enableMicAudio WRITE setEnableMicAudio NOTIFY enableMicAudioChanged)
    Q_PROPERTY(bool enableSystemAudio READ enableSystemAudio WRITE setEnableSystemAudio NOTIFY
                   enableSystemAudioChanged)
    Q_PROPERTY(bool showKeystrokes READ showKeystrokes WRITE setShowKeystrokes NOTIFY showKeystrokesChanged)
    Q_PROPERTY(vantrel::KeystrokeDisplayMode keystrokeDisplayMode READ keystrokeDisplayMode WRITE
                   setKeystrokeDisplayMode NOTIFY keystrokeDisplayModeChanged)
    Q_PROPERTY(
        bool showMouseClicks READ showMouseClicks WRITE setShowMouseClicks NOTIFY showMouseClicksChanged)
    Q_PROPERTY(bool enableCursorFollowText READ enableCursorFollowText WRITE setEnableCursorFollowText NOTIFY
                   enableCursorFollowTextChanged)
    Q_PROPERTY(bool showWebcam READ showWebcam WRITE setShowWebcam NOTIFY showWebcamChanged)
    Q_PROPERTY(vantrel::WebcamPosition webcamPosition READ webcamPosition WRITE setWebcamPosition NOTIFY
                   webcamPositionChanged)
    Q_PROPERTY(QString selectedCameraID READ selectedCameraID WRITE setSelectedCameraID NOTIFY
                   selectedCameraIDChanged)
    Q_PROPERTY(QString selectedMicID READ selectedMicID WRITE setSelectedMicID NOTIFY selectedMicIDChanged)
    Q_PROPERTY(bool includeAppInCapture READ includeAppInCapture WRITE setIncludeAppInCapture NOTIFY
                   includeAppInCaptureChanged)
    Q_PROPERTY(bool hasCompletedOnboarding READ hasCompletedOnboarding WRITE setHasCompletedOnboarding NOTIFY
                   hasCompletedOnboardingChanged)
    Q_PROPERTY(QString recordingShortcutKey READ recordingShortcutKey WRITE setRecordingShortcutKey NOTIFY
                   recordingShortcutKeyChanged)
    Q_PROPERTY(qint64 recordingShortcutModifiersRaw READ recordingShortcutModifiersRaw WRITE
                   setRecordingShortcutModifiersRaw NOTIFY recordingShortcutModifiersRawChanged)
    Q_PROPERTY(QString recordingShortcutDisplayString READ recordingShortcutDisplayString NOTIFY
                   recordingShortcutModifiersRawChanged)

public:
    using Snapshot = AppSettingsSnapshot;

    // Keys in the user defaults. The modifiers' key has no "Raw", unlike the field.
    static constexpr std::string_view kEnableAutoZoomKey = "enableAutoZoom";
    static constexpr std::string_view kOpenFinderAfterRecordingKey = "openFinderAfterRecording";
    static constexpr std::string_view kSaveFullScreenBackupKey = "saveFullScreenBackup";
    static constexpr std::string_view kEnableMicAudioKey = "enableMicAudio";
    static constexpr std::string_view kEnableSystemAudioKey = "enableSystemAudio";
    static constexpr std::string_view kShowKeystrokesKey = "showKeystrokes";
    static constexpr std::string_view kKeystrokeDisplayModeKey = "keystrokeDisplayMode";
    static constexpr std::string_view kShowMouseClicksKey = "showMouseClicks";
    static constexpr std::string_view kEnableCursorFollowTextKey = "enableCursorFollowText";
    static constexpr std::string_view kShowWebcamKey = "showWebcam";
    static constexpr std::string_view kWebcamPositionKey = "webcamPosition";
    static constexpr std::string_view kSelectedCameraIDKey = "selectedCameraID";
    static constexpr std::string_view kSelectedMicIDKey = "selectedMicID";
    static constexpr std::string_view kIncludeAppInCaptureKey = "includeAppInCapture";
    static constexpr std::string_view kHasCompletedOnboardingKey = "hasCompletedOnboarding";
    static constexpr std::string_view kRecordingShortcutKeyKey = "recordingShortcutKey";
    static constexpr std::string_view kRecordingShortcutModifiersKey = "recordingShortcutModifiers";
    static constexpr std::string_view kSaveDirectoryBookmarkKey = "saveDirectoryBookmark";

    static constexpr const char* kDefaultShortcutKey = "r";
    static constexpr int64_t kDefaultShortcutModifiers =
        NSEventModifierFlags::control | NSEventModifierFlags::option;

    /// Binds the fields to `defaults`, then takes the custom folder from the
    /// bookmark store (which may rewrite a stale bookmark). `displays` gives the
    /// chosen display to snapshots; when null, DisplayManagerProvider::shared() does.
    AppSettings(std::shared_ptr<UserDefaults> defaults, std::shared_ptr<SaveDirectoryBookmarks> bookmarks,
                std::shared_ptr<DisplayManagerProvider> displays = nullptr);

    /// The one instance, made at first use on the standard user defaults and
    /// the installed bookmark store. Tests replace it with setShared.
    static std::shared_ptr<AppSettings> shared();
    static void setShared(std::shared_ptr<AppSettings> settings);

    Snapshot makeSnapshot() override;

    bool enableAutoZoom() const;
    void setEnableAutoZoom(bool value);
    bool openFinderAfterRecording() const;
    void setOpenFinderAfterRecording(bool value);
    bool saveFullScreenBackup() const;
    void setSaveFullScreenBackup(bool value);
    std::optional<URL> customSaveDirectoryURL() const { return customSaveDirectoryURL_; }
    QString customSaveDirectoryPath() const;
    bool enableMicAudio() const;
    void setEnableMicAudio(bool value);
    bool enableSystemAudio() const;
    void setEnableSystemAudio(bool value);
    bool showKeystrokes() const;
    void setShowKeystrokes(bool value);
    KeystrokeDisplayMode keystrokeDisplayMode() const;
    void setKeystrokeDisplayMode(KeystrokeDisplayMode value);
    bool showMouseClicks() const;
    void setShowMouseClicks(bool value);
    bool enableCursorFollowText() const;
    void setEnableCursorFollowText(bool value);
    bool showWebcam() const;
    void setShowWebcam(bool value);
    WebcamPosition webcamPosition() const;
    void setWebcamPosition(WebcamPosition value);
    QString selectedCameraID() const;
    void setSelectedCameraID(const QString& value);
    QString selectedMicID() const;
    void setSelectedMicID(const QString& value);
    bool includeAppInCapture() const;
    void setIncludeAppInCapture(bool value);
    bool hasCompletedOnboarding() const;
    void setHasCompletedOnboarding(bool value);
    QString recordingShortcutKey() const;
    void setRecordingShortcutKey(const QString& value);
    qint64 recordingShortcutModifiersRaw() const;
    void setRecordingShortcutModifiersRaw(qint64 value);

    /// `customSaveDirectoryURL` if present, else the Documents folder.
    URL saveDirectoryURL() const;
    /// Stores a bookmark for `url`, then makes it the custom folder, even if the bookmark could not be made.
    void updateSaveDirectory(const URL& url);
    /// Removes the stored bookmark and goes back to Documents.
    void resetSaveDirectory();

    NSEventModifierFlags recordingModifierFlags() const;
    void setRecordingModifierFlags(NSEventModifierFlags flags);
    EventModifiers recordingEventModifiers() const;
    /// The glyphs of the set modifiers in the order ⌃⌥⇧⌘, then the key in upper case.
    QString recordingShortcutDisplayString() const;
    void resetRecordingShortcut();

signals:
    void enableAutoZoomChanged();
    void openFinderAfterRecordingChanged();
    void saveFullScreenBackupChanged();
    void customSaveDirectoryURLChanged();
    void enableMicAudioChanged();
    void enableSystemAudioChanged();
    void showKeystrokesChanged();
    void keystrokeDisplayModeChanged();
    void showMouseClicksChanged();
    void enableCursorFollowTextChanged();
    void showWebcamChanged();
    void webcamPositionChanged();
    void selectedCameraIDChanged();
    void selectedMicIDChanged();
    void includeAppInCaptureChanged();
    void hasCompletedOnboardingChanged();
    void recordingShortcutKeyChanged();
    void recordingShortcutModifiersRawChanged();

private:
    bool readBool(std::string_view key, bool fallback) const;
    QString readString(std::string_view key, const char* fallback) const;
    void setCustomSaveDirectoryURL(std::optional<URL> url);

    std::shared_ptr<UserDefaults> defaults_;
    std::shared_ptr<SaveDirectoryBookmarks> bookmarks_;
    std::shared_ptr<DisplayManagerProvider> displays_;
    std::optional<URL> customSaveDirectoryURL_;
};

} // namespace vantrel
