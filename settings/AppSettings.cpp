#include "AppSettings.h"

#include "platform/displays/Displays.h"
#include "platform/runtime/DocumentsFolder.h"


namespace vantrel {

namespace {

std::string toStd(const QString& text) {
    return text.toStdString();
}

} // namespace

AppSettings::AppSettings(std::shared_ptr<UserDefaults> defaults,
                         std::shared_ptr<SaveDirectoryBookmarks> bookmarks,
                         std::shared_ptr<DisplayManagerProvider> displays)
    : defaults_(std::move(defaults)), bookmarks_(std::move(bookmarks)), displays_(std::move(displays)) {
    if (bookmarks_) customSaveDirectoryURL_ = bookmarks_->getSavedDirectoryURL();
}

std::shared_ptr<AppSettings> AppSettings::shared() {
    if (auto existing = SharedInstance<AppSettings>::get()) return existing;
    // One order whoever asks first: the store and the display manager, then
    // the settings that read them. Made outside the settings' slot lock.
    auto bookmarks = SaveDirectoryBookmarks::shared();
    DisplayManagerProvider::shared();
    return SharedInstance<AppSettings>::getOrMake(
        [&] { return std::make_shared<AppSettings>(UserDefaults::standard(), std::move(bookmarks)); });
}

void AppSettings::setShared(std::shared_ptr<AppSettings> settings) {
    SharedInstance<AppSettings>::set(std::move(settings));
}

bool AppSettings::readBool(std::string_view key, bool fallback) const {
    return defaults_->boolForKey(key).value_or(fallback);
}

QString AppSettings::readString(std::string_view key, const char* fallback) const {
    const auto stored = defaults_->stringForKey(key);
    return stored ? QString::fromStdString(*stored) : QString(fallback);
}

AppSettings::Snapshot AppSettings::makeSnapshot() {
    Snapshot snapshot;
    snapshot.enableAutoZoom = enableAutoZoom();
    snapshot.openFinderAfterRecording = openFinderAfterRecording();
    snapshot.saveFullScreenBackup = saveFullScreenBackup();
    snapshot.enableMicAudio = enableMicAudio();
    snapshot.enableSystemAudio = enableSystemAudio();
    snapshot.showKeystrokes = showKeystrokes();
    snapshot.keystrokeDisplayMode = keystrokeDisplayMode();
    snapshot.showMouseClicks = showMouseClicks();
    snapshot.enableCursorFollowText = enableCursorFollowText();
    snapshot.showWebcam = showWebcam();
    snapshot.webcamPosition = webcamPosition();
    snapshot.saveDirectoryURL = saveDirectoryURL();
    const auto displays = displays_ ? displays_ : DisplayManagerProvider::shared();
    // A program without a display manager records the main display.
    snapshot.selectedDisplayID = displays ? displays->selectedDisplayID() : CGMainDisplayID();
    snapshot.selectedCameraID = toStd(selectedCameraID());
    snapshot.selectedMicID = toStd(selectedMicID());
    snapshot.includeAppInCapture = includeAppInCapture();
    return snapshot;
}

bool AppSettings::enableAutoZoom() const {
    return readBool(kEnableAutoZoomKey, true);
}
void AppSettings::setEnableAutoZoom(bool value) {
    defaults_->setBool(kEnableAutoZoomKey, value);
    emit enableAutoZoomChanged();
}

bool AppSettings::openFinderAfterRecording() const {
    return readBool(kOpenFinderAfterRecordingKey, true);
}
void AppSettings::setOpenFinderAfterRecording(bool value) {
    defaults_->setBool(kOpenFinderAfterRecordingKey, value);
    emit openFinderAfterRecordingChanged();
}

bool AppSettings::saveFullScreenBackup() const {
    return readBool(kSaveFullScreenBackupKey, false);
}
void AppSettings::setSaveFullScreenBackup(bool value) {
    defaults_->setBool(kSaveFullScreenBackupKey, value);
    emit saveFullScreenBackupChanged();
}

QString AppSettings::customSaveDirectoryPath() const {
    return customSaveDirectoryURL_ ? QString::fromStdString(customSaveDirectoryURL_->path.string())
                                   : QString();
}

bool AppSettings::enableMicAudio() const {
    return readBool(kEnableMicAudioKey, false);
}
void AppSettings::setEnableMicAudio(bool value) {
    defaults_->setBool(kEnableMicAudioKey, value);
    emit enableMicAudioChanged();
}

bool AppSettings::enableSystemAudio() const {
    return readBool(kEnableSystemAudioKey, true);
}
void AppSettings::setEnableSystemAudio(bool value) {
    defaults_->setBool(kEnableSystemAudioKey, value);
    emit enableSystemAudioChanged();
}

bool AppSettings::showKeystrokes() const {
    return readBool(kShowKeystrokesKey, false);
}
void AppSettings::setShowKeystrokes(bool value) {
    defaults_->setBool(kShowKeystrokesKey, value);
    emit showKeystrokesChanged();
}

KeystrokeDisplayMode AppSettings::keystrokeDisplayMode() const {
    const auto raw = defaults_->stringForKey(kKeystrokeDisplayModeKey);
    return raw ? keystrokeDisplayModeFromRaw(*raw).value_or(KeystrokeDisplayMode::all)
               : KeystrokeDisplayMode::all;
}
void AppSettings::setKeystrokeDisplayMode(KeystrokeDisplayMode value) {
    defaults_->setString(kKeystrokeDisplayModeKey, rawValue(value));
    emit keystrokeDisplayModeChanged();
}

bool AppSettings::showMouseClicks() const {
    return readBool(kShowMouseClicksKey, false);
}
void AppSettings::setShowMouseClicks(bool value) {
    defaults_->setBool(kShowMouseClicksKey, value);
    emit showMouseClicksChanged();
}

bool AppSettings::enableCursorFollowText() const {
    return readBool(kEnableCursorFollowTextKey, false);
}
void AppSettings::setEnableCursorFollowText(bool value) {
    defaults_->setBool(kEnableCursorFollowTextKey, value);
    emit enableCursorFollowTextChanged();
}

bool AppSettings::showWebcam() const {
    return readBool(kShowWebcamKey, false);
}
void AppSettings::setShowWebcam(bool value) {
    defaults_->setBool(kShowWebcamKey, value);
    emit showWebcamChanged();
}

WebcamPosition AppSettings::webcamPosition() const {
    const auto raw = defaults_->stringForKey(kWebcamPositionKey);
    return raw ? webcamPositionFromRaw(*raw).value_or(WebcamPosition::bottomRight)
               : WebcamPosition::bottomRight;
}
void AppSettings::setWebcamPosition(WebcamPosition value) {
    defaults_->setString(kWebcamPositionKey, rawValue(value));
    emit webcamPositionChanged();
}

QString AppSettings::selectedCameraID() const {
    return readString(kSelectedCameraIDKey, "");
}
void AppSettings::setSelectedCameraID(const QString& value) {
    defaults_->setString(kSelectedCameraIDKey, toStd(value));
    emit selectedCameraIDChanged();
}

QString AppSettings::selectedMicID() const {
    return readString(kSelectedMicIDKey, "");
}
void AppSettings::setSelectedMicID(const QString& value) {
    defaults_->setString(kSelectedMicIDKey, toStd(value));
    emit selectedMicIDChanged();
}

bool AppSettings::includeAppInCapture() const {
    return readBool(kIncludeAppInCaptureKey, false);
}
void AppSettings::setIncludeAppInCapture(bool value) {
    defaults_->setBool(kIncludeAppInCaptureKey, value);
    emit includeAppInCaptureChanged();
}

bool AppSettings::hasCompletedOnboarding() const {
    return readBool(kHasCompletedOnboardingKey, false);
}
void AppSettings::setHasCompletedOnboarding(bool value) {
    defaults_->setBool(kHasCompletedOnboardingKey, value);
    emit hasCompletedOnboardingChanged();
}

QString AppSettings::recordingShortcutKey() const {
    return readString(kRecordingShortcutKeyKey, kDefaultShortcutKey);
}
void AppSettings::setRecordingShortcutKey(const QString& value) {
    defaults_->setString(kRecordingShortcutKeyKey, toStd(value));
    emit recordingShortcutKeyChanged();
}

qint64 AppSettings::recordingShortcutModifiersRaw() const {
    const auto stored = defaults_->integerForKey(kRecordingShortcutModifiersKey);
    // The raw value of a set of flags is never negative: such a value is of the wrong kind.
    return stored && *stored >= 0 ? *stored : kDefaultShortcutModifiers;
}
void AppSettings::setRecordingShortcutModifiersRaw(qint64 value) {
    defaults_->setInteger(kRecordingShortcutModifiersKey, value);
    emit recordingShortcutModifiersRawChanged();
}

URL AppSettings::saveDirectoryURL() const {
    return customSaveDirectoryURL_ ? *customSaveDirectoryURL_ : documentDirectoryURL();
}

void AppSettings::setCustomSaveDirectoryURL(std::optional<URL> url) {
    customSaveDirectoryURL_ = std::move(url);
    emit customSaveDirectoryURLChanged();
}

void AppSettings::updateSaveDirectory(const URL& url) {
    if (bookmarks_) bookmarks_->saveBookmark(url);
    setCustomSaveDirectoryURL(url);
}

void AppSettings::resetSaveDirectory() {
    defaults_->removeObjectForKey(kSaveDirectoryBookmarkKey);
    setCustomSaveDirectoryURL(std::nullopt);
}

NSEventModifierFlags AppSettings::recordingModifierFlags() const {
    return {static_cast<uint64_t>(recordingShortcutModifiersRaw())};
}

void AppSettings::setRecordingModifierFlags(NSEventModifierFlags flags) {
    setRecordingShortcutModifiersRaw(static_cast<qint64>(flags.rawValue));
}

EventModifiers AppSettings::recordingEventModifiers() const {
    const NSEventModifierFlags flags = recordingModifierFlags();
    EventModifiers modifiers;
    if (flags.contains(NSEventModifierFlags::command)) modifiers.rawValue |= EventModifiers::command;
    if (flags.contains(NSEventModifierFlags::shift)) modifiers.rawValue |= EventModifiers::shift;
    if (flags.contains(NSEventModifierFlags::option)) modifiers.rawValue |= EventModifiers::option;
    if (flags.contains(NSEventModifierFlags::control)) modifiers.rawValue |= EventModifiers::control;
    return modifiers;
}

QString AppSettings::recordingShortcutDisplayString() const {
    const NSEventModifierFlags flags = recordingModifierFlags();
    QString text;
    if (flags.contains(NSEventModifierFlags::control)) text += QStringLiteral("⌃");
    if (flags.contains(NSEventModifierFlags::option)) text += QStringLiteral("⌥");
    if (flags.contains(NSEventModifierFlags::shift)) text += QStringLiteral("⇧");
    if (flags.contains(NSEventModifierFlags::command)) text += QStringLiteral("⌘");
    return text + recordingShortcutKey().toUpper();
}

void AppSettings::resetRecordingShortcut() {
    setRecordingShortcutKey(kDefaultShortcutKey);
    setRecordingShortcutModifiersRaw(kDefaultShortcutModifiers);
}

} // namespace vantrel
