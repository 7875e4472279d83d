// A rounded outline painted with a two-colour gradient, from the top-leading
// corner to the bottom-trailing one (or from top to bottom when `vertical`).
import QtQuick

Canvas {
    property real radius: 16
    property real lineWidth: 1
    property color fromColor: "white"
    property color toColor: "transparent"
    property bool vertical: false
    onFromColorChanged: requestPaint()
    onToColorChanged: requestPaint()
    onLineWidthChanged: requestPaint()
    onWidthChanged: requestPaint()
    onHeightChanged: requestPaint()

    onPaint: {
        const c = getContext("2d");
        c.reset();
        const g = c.createLinearGradient(0, 0, vertical ? 0 : width, height);
        g.addColorStop(0, fromColor);
        g.addColorStop(1, toColor);
        c.strokeStyle = g;
        c.lineWidth = lineWidth;
        const inset = lineWidth / 2;
        const r = Math.min(radius, height / 2 - inset);
        c.beginPath();
        c.roundedRect(inset, inset, width - 2 * inset, height - 2 * inset, r, r);
        c.stroke();
    }
}
