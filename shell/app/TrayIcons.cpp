#include "shell/app/TrayIcons.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace vantrel {

namespace {

const QColor kRecordingRed(0xff, 0x3b, 0x30);
const QColor kPausedOrange(0xff, 0x95, 0x00);

/// A video camera in a 24-unit square: body and lens.
QPainterPath cameraPath() {
    QPainterPath path;
    path.addRoundedRect(QRectF(2, 7, 14, 11), 2.5, 2.5);
    QPolygonF lens;
    lens << QPointF(16.5, 11) << QPointF(22, 7.5) << QPointF(22, 17.5) << QPointF(16.5, 14);
    path.addPolygon(lens);
    path.closeSubpath();
    return path;
}

void drawCamera(QPainter& painter, QColor color, bool filled) {
    if (filled) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
    } else {
        painter.setPen(QPen(color, 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
    }
    painter.drawPath(cameraPath());
}

void drawBadge(QPainter& painter, QColor color) {
    // A plus on a white disc at the lower right of the camera.
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawEllipse(QPointF(17.5, 18), 5.5, 5.5);
    painter.setPen(QPen(color, 2.2, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(17.5, 15), QPointF(17.5, 21));
    painter.drawLine(QPointF(14.5, 18), QPointF(20.5, 18));
}

void drawPauseCircle(QPainter& painter, QColor color) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QPointF(12, 12), 10.5, 10.5);
    painter.setBrush(Qt::white);
    painter.drawRoundedRect(QRectF(8, 7, 3, 10), 1, 1);
    painter.drawRoundedRect(QRectF(13, 7, 3, 10), 1, 1);
}

} // namespace

TrayIconKind trayIconKind(AppRecordingState state, bool showPauseIcon) {
    switch (state) {
    case AppRecordingState::idle:
    case AppRecordingState::standby:
        return TrayIconKind::idle;
    case AppRecordingState::recording:
        return TrayIconKind::recording;
    case AppRecordingState::paused:
        return showPauseIcon ? TrayIconKind::pausedPause : TrayIconKind::pausedCamera;
    }
    return TrayIconKind::idle;
}

QImage trayIconImage(TrayIconKind kind, QColor foreground, int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(size / 24.0, size / 24.0);
    switch (kind) {
    case TrayIconKind::idle:
        drawCamera(painter, foreground, false);
        break;
    case TrayIconKind::recording:
        drawCamera(painter, kRecordingRed, true);
        drawBadge(painter, kRecordingRed);
        break;
    case TrayIconKind::pausedPause:
        drawPauseCircle(painter, kPausedOrange);
        break;
    case TrayIconKind::pausedCamera:
        drawCamera(painter, kPausedOrange, true);
        drawBadge(painter, kPausedOrange);
        break;
    }
    return image;
}

QIcon trayIcon(TrayIconKind kind, QColor foreground) {
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64})
        icon.addPixmap(QPixmap::fromImage(trayIconImage(kind, foreground, size)));
    return icon;
}

} // namespace vantrel
