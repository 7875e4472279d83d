#pragma once
// The app's own windows have one size that the user cannot change, and open
// in the middle of the main screen's free area.

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

namespace vantrel {

inline void makeFixedAndCentred(QWindow& window, QSize size) {
    window.setMinimumSize(size);
    window.setMaximumSize(size);
    window.resize(size);
    if (QScreen* screen = QGuiApplication::primaryScreen())
        window.setPosition(screen->availableGeometry().center() -
                           QPoint(size.width() / 2, size.height() / 2));
}

} // namespace vantrel
