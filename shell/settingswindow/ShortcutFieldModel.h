#pragma once
// The recording shortcut field. A click starts listening; the next key with
// at least one of Ctrl, Alt, Shift and Super is stored (its shift-only
// characters, lower-cased, and the modifier bits), a bare key is ignored and
// the field keeps listening; Escape or losing focus stops listening and the
// stored shortcut stays. Key presses arrive in the terms the global shortcut
// monitor matches on (NSEvent from the xkbcommon translation), so what is
// stored here is what the monitor sees on every layout. Main thread only.

#include "platform/input/InputEvents.h"
#include "shell/settingswindow/ShortcutKeyTranslator.h"

#include <QObject>
#include <QString>
#include <memory>

namespace vantrel {

class AppSettings;

class ShortcutFieldModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY changed)
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(int borderWidth READ borderWidth NOTIFY changed)

public:
    /// Shift, control, option and command: the bits a shortcut needs one of.
    static constexpr uint64_t kShortcutModifierMask = 0x1E0000;
    static constexpr int kRestingBorderWidth = 1;
    static constexpr int kRecordingBorderWidth = 2;

    explicit ShortcutFieldModel(std::shared_ptr<AppSettings> settings, QObject* parent = nullptr);

    bool isRecording() const { return isRecording_; }
    /// The stored shortcut ("⌃⌥R"), or "Type shortcut…" while listening.
    QString text() const;
    int borderWidth() const { return isRecording_ ? kRecordingBorderWidth : kRestingBorderWidth; }

    /// A click in the field.
    Q_INVOKABLE void beginRecording();
    /// A key press; true when it was taken as the new shortcut.
    bool keyDown(const NSEvent& event);
    /// A key press as the view gets it (X keycode, Qt modifiers), translated
    /// as the global monitor translates it. Nothing without a translator.
    Q_INVOKABLE bool keyPressed(quint32 nativeScanCode, int qtModifiers);
    void setKeyTranslator(std::unique_ptr<ShortcutKeyTranslator> translator) {
        translator_ = std::move(translator);
    }
    /// Escape.
    Q_INVOKABLE void cancelOperation();
    /// Focus went elsewhere.
    Q_INVOKABLE void resignFirstResponder();

signals:
    void changed();

private:
    void refresh();

    std::shared_ptr<AppSettings> settings_;
    std::unique_ptr<ShortcutKeyTranslator> translator_;
    bool isRecording_ = false;
};

} // namespace vantrel
