#pragma once
// The tray icon for each state of the app, drawn here: a camera outline when
// idle, a red filled camera with a badge while recording, and while paused an
// orange pause circle that alternates with an orange filled camera.

#include "shell/common/AppRecordingState.h"

#include <QColor>
#include <QIcon>

namespace vantrel {

enum class TrayIconKind { idle, recording, pausedPause, pausedCamera };

TrayIconKind trayIconKind(AppRecordingState state, bool showPauseIcon);

/// `foreground` is the colour of the idle outline (the panel's text colour).
QIcon trayIcon(TrayIconKind kind, QColor foreground);

/// The same drawing as an image of `size` pixels, for tests and screenshots.
QImage trayIconImage(TrayIconKind kind, QColor foreground, int size);

} // namespace vantrel
