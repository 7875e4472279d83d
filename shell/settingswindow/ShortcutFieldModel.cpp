#include "shell/settingswindow/ShortcutFieldModel.h"

#include "settings/AppSettings.h"

namespace vantrel {

ShortcutFieldModel::ShortcutFieldModel(std::shared_ptr<AppSettings> settings, QObject* parent)
    : QObject(parent), settings_(std::move(settings)) {
    // A reset elsewhere (the "Reset" button) shows at once, unless we listen.
    connect(settings_.get(), &AppSettings::recordingShortcutKeyChanged, this, [this] {
        if (!isRecording_) emit changed();
    });
    connect(settings_.get(), &AppSettings::recordingShortcutModifiersRawChanged, this, [this] {
        if (!isRecording_) emit changed();
    });
}

QString ShortcutFieldModel::text() const {
    return isRecording_ ? tr("Type shortcut…") : settings_->recordingShortcutDisplayString();
}

void ShortcutFieldModel::beginRecording() {
    isRecording_ = true;
    emit changed();
}

bool ShortcutFieldModel::keyDown(const NSEvent& event) {
    if (!isRecording_) return false;
    const uint64_t modifiers = event.modifierFlags.rawValue & kShortcutModifierMask;
    if (modifiers == 0) return false;
    if (!event.charactersIgnoringModifiers || event.charactersIgnoringModifiers->empty()) return false;
    settings_->setRecordingShortcutKey(QString::fromStdString(*event.charactersIgnoringModifiers).toLower());
    settings_->setRecordingShortcutModifiersRaw(static_cast<qint64>(modifiers));
    refresh();
    return true;
}

bool ShortcutFieldModel::keyPressed(quint32 nativeScanCode, int qtModifiers) {
    if (!translator_) return false;
    const auto event = translator_->keyDown(nativeScanCode, qtModifiers);
    return event && keyDown(*event);
}

void ShortcutFieldModel::cancelOperation() {
    refresh();
}

void ShortcutFieldModel::resignFirstResponder() {
    refresh();
}

void ShortcutFieldModel::refresh() {
    isRecording_ = false;
    emit changed();
}

} // namespace vantrel
