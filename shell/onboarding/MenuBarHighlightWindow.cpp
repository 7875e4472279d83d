#include "shell/onboarding/MenuBarHighlightWindow.h"

#include <QPainter>
#include <QRadialGradient>

namespace vantrel {

MenuBarHighlightWindow::MenuBarHighlightWindow(const QRect& screenFrame, QPoint hole) : hole_(hole) {
    QSurfaceFormat format = this->format();
    format.setAlphaBufferSize(8);
    setFormat(format);
    setFlags(Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
             Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus);
    setGeometry(screenFrame);
}

QImage MenuBarHighlightWindow::picture(QSize size, QPoint hole) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.fillRect(image.rect(), QColor(0, 0, 0, 102));
    // What the gradient covers is taken out of the dimming: all of it at the
    // centre, nothing at the rim.
    painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
    QRadialGradient fade(hole, kHoleRadius);
    fade.setColorAt(0, QColor(0, 0, 0, 255));
    fade.setColorAt(1, QColor(0, 0, 0, 0));
    painter.fillRect(QRect(hole - QPoint(kHoleRadius, kHoleRadius), QSize(2 * kHoleRadius, 2 * kHoleRadius)),
                     fade);
    return image;
}

void MenuBarHighlightWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.drawImage(0, 0, picture(size(), hole_));
}

} // namespace vantrel
