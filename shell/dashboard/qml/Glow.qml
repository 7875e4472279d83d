// A soft coloured ellipse; a radial fade stands in for the blur, which needs
// no shader effects.
import QtQuick

Canvas {
    property color glowColor: "white"
    property real blur: 120
    onGlowColorChanged: requestPaint()
    onPaint: {
        const c = getContext("2d");
        c.reset();
        // A circle squeezed into the ellipse.
        c.scale(1, height / width);
        const r = width / 2;
        const g = c.createRadialGradient(r, r, 0, r, r, r);
        const solid = Math.max(0, 1 - 2 * blur / width);
        g.addColorStop(0, glowColor);
        g.addColorStop(solid, Qt.rgba(glowColor.r, glowColor.g, glowColor.b, glowColor.a * 0.7));
        g.addColorStop(1, "transparent");
        c.fillStyle = g;
        c.fillRect(0, 0, width, width);
    }
}
