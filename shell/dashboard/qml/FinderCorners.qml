// Four corner brackets, 24 in from both edges with arms 24 long.
import QtQuick

Canvas {
    onWidthChanged: requestPaint()
    onHeightChanged: requestPaint()
    onPaint: {
        const c = getContext("2d");
        c.reset();
        c.strokeStyle = Qt.rgba(1, 1, 1, 0.3);
        c.lineWidth = 3;
        c.lineCap = "round";
        c.lineJoin = "round";
        const i = 24, a = 24, w = width, h = height;
        c.beginPath();
        c.moveTo(i, i + a); c.lineTo(i, i); c.lineTo(i + a, i);
        c.moveTo(w - i - a, i); c.lineTo(w - i, i); c.lineTo(w - i, i + a);
        c.moveTo(i, h - i - a); c.lineTo(i, h - i); c.lineTo(i + a, h - i);
        c.moveTo(w - i - a, h - i); c.lineTo(w - i, h - i); c.lineTo(w - i, h - i - a);
        c.stroke();
    }
}
