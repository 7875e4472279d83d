#pragma once
// The screen dimmed to 40 percent after the first run, with a soft hole of
// radius 100 around the tray icon: a translucent full-screen window under
// the pointer that lets every click through. Painted once, with QPainter.

#include <QImage>
#include <QRasterWindow>

namespace vantrel {

class MenuBarHighlightWindow final : public QRasterWindow {
public:
    static constexpr int kHoleRadius = 100;

    /// `hole` in the window's own coordinates.
    MenuBarHighlightWindow(const QRect& screenFrame, QPoint hole);

    /// The picture the window shows: black at 0.4 everywhere, fading to
    /// nothing towards `hole`.
    static QImage picture(QSize size, QPoint hole);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPoint hole_;
};

} // namespace vantrel
