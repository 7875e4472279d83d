#pragma once
// The alerts for a permission that stands in the way of a recording. Their
// English and Japanese texts live here as literals: they are chosen by the
// locale's language at the moment of asking, not through the translations.

#include "shell/common/AlertPresenter.h"

#include <QString>

namespace vantrel {

/// One system permission that a recording needs and does not have.
struct DeniedPermission {
    enum class Kind { accessibility, screenRecording, microphone, camera };
    Kind kind = Kind::screenRecording;
    /// For accessibility: which overlays asked for it.
    bool showKeystrokes = false;
    bool showMouseClicks = false;

    friend bool operator==(const DeniedPermission&, const DeniedPermission&) = default;
};

enum class AlertLanguage { english, japanese };

/// Japanese when the default locale's language is Japanese, English otherwise.
AlertLanguage currentAlertLanguage();

/// Title, text and buttons: open-settings, then turn-off (not for screen
/// recording, whose alert cannot go on without it), then cancel.
AlertRequest permissionAlert(const DeniedPermission& permission, AlertLanguage language);

/// The settings pane that grants the permission, by the URL the workspace opens.
const char* permissionSettingsURL(DeniedPermission::Kind kind);

} // namespace vantrel
