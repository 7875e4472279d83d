// The dashboard's symbols, drawn by name in a square of `size`: one colour,
// or a vertical gradient from `topColor` to `bottomColor` when `gradient` is set.
import QtQuick

Canvas {
    id: symbol
    property string name: ""
    property real size: 16
    property color color: "white"
    property bool gradient: false
    property color topColor: color
    property color bottomColor: color
    property real weight: 1.5   // line width relative to a size of 16
    implicitWidth: size
    implicitHeight: size
    onNameChanged: requestPaint()
    onColorChanged: requestPaint()
    onTopColorChanged: requestPaint()
    onBottomColorChanged: requestPaint()
    onWeightChanged: requestPaint()
    onGradientChanged: requestPaint()
    onWidthChanged: requestPaint()

    onPaint: {
        const c = getContext("2d");
        c.reset();
        const s = Math.min(width, height);
        let paint = color;
        if (gradient) {
            paint = c.createLinearGradient(0, 0, 0, s);
            paint.addColorStop(0, topColor);
            paint.addColorStop(1, bottomColor);
        }
        c.fillStyle = paint;
        c.strokeStyle = paint;
        c.lineWidth = Math.max(1, s / 16 * weight);
        c.lineCap = "round";
        c.lineJoin = "round";
        const p = (x, y) => [x * s, y * s];
        const line = (pts) => { c.beginPath(); c.moveTo(...p(pts[0], pts[1]));
            for (let i = 2; i < pts.length; i += 2) c.lineTo(...p(pts[i], pts[i + 1])); c.stroke(); };
        const circle = (x, y, r, fill) => { c.beginPath(); c.arc(x * s, y * s, r * s, 0, Math.PI * 2);
            if (fill) c.fill(); else c.stroke(); };
        const roundRect = (x, y, w, h, r, fill) => { c.beginPath(); c.roundedRect(x * s, y * s, w * s, h * s, r * s, r * s);
            if (fill) c.fill(); else c.stroke(); };
        const arrow = () => { c.beginPath(); c.moveTo(...p(0.42, 0.3)); c.lineTo(...p(0.42, 0.92));
            c.lineTo(...p(0.56, 0.78)); c.lineTo(...p(0.66, 0.98)); c.lineTo(...p(0.74, 0.94));
            c.lineTo(...p(0.64, 0.74)); c.lineTo(...p(0.82, 0.72)); c.closePath(); c.fill(); };
        switch (name) {
        case "magnifyingglass":
            circle(0.42, 0.42, 0.28, false); line([0.62, 0.62, 0.88, 0.88]); break;
        case "speaker.wave.2":
            c.beginPath(); c.moveTo(...p(0.08, 0.36)); c.lineTo(...p(0.26, 0.36)); c.lineTo(...p(0.48, 0.16));
            c.lineTo(...p(0.48, 0.84)); c.lineTo(...p(0.26, 0.64)); c.lineTo(...p(0.08, 0.64)); c.closePath(); c.fill();
            c.beginPath(); c.arc(0.5 * s, 0.5 * s, 0.18 * s, -0.9, 0.9); c.stroke();
            c.beginPath(); c.arc(0.5 * s, 0.5 * s, 0.36 * s, -0.9, 0.9); c.stroke(); break;
        case "mic":
            roundRect(0.36, 0.06, 0.28, 0.54, 0.14, false);
            c.beginPath(); c.arc(0.5 * s, 0.42 * s, 0.28 * s, 0, Math.PI); c.stroke();
            line([0.5, 0.7, 0.5, 0.92]); line([0.34, 0.92, 0.66, 0.92]); break;
        case "keyboard":
            roundRect(0.06, 0.22, 0.88, 0.56, 0.08, false);
            for (let r = 0; r < 2; ++r) for (let k = 0; k < 5; ++k)
                c.fillRect((0.17 + k * 0.15) * s, (0.34 + r * 0.14) * s, 0.07 * s, 0.07 * s);
            line([0.3, 0.66, 0.7, 0.66]); break;
        case "cursorarrow.rays":
            arrow(); line([0.3, 0.3, 0.18, 0.18]); line([0.42, 0.2, 0.42, 0.04]); line([0.3, 0.42, 0.14, 0.42]);
            line([0.54, 0.3, 0.66, 0.18]); break;
        case "cursorarrow.motionlines":
            arrow(); line([0.06, 0.44, 0.3, 0.44]); line([0.12, 0.6, 0.32, 0.6]); line([0.18, 0.76, 0.34, 0.76]); break;
        case "camera":
            roundRect(0.06, 0.28, 0.62, 0.46, 0.08, true);
            c.beginPath(); c.moveTo(...p(0.72, 0.46)); c.lineTo(...p(0.94, 0.3)); c.lineTo(...p(0.94, 0.72));
            c.lineTo(...p(0.72, 0.56)); c.closePath(); c.fill(); break;
        case "camera.viewfinder":
            line([0.06, 0.28, 0.06, 0.06, 0.28, 0.06]); line([0.72, 0.06, 0.94, 0.06, 0.94, 0.28]);
            line([0.06, 0.72, 0.06, 0.94, 0.28, 0.94]); line([0.72, 0.94, 0.94, 0.94, 0.94, 0.72]);
            roundRect(0.26, 0.36, 0.48, 0.34, 0.05, false); circle(0.5, 0.53, 0.09, false);
            line([0.4, 0.36, 0.44, 0.29, 0.56, 0.29, 0.6, 0.36]); break;
        case "person.crop.rectangle":
        case "person.crop.rectangle.fill":
            roundRect(0.06, 0.14, 0.88, 0.72, 0.1, name.endsWith("fill"));
            if (name.endsWith("fill")) { c.globalCompositeOperation = "destination-out"; }
            circle(0.5, 0.4, 0.12, true);
            c.beginPath(); c.arc(0.5 * s, 0.86 * s, 0.24 * s, Math.PI, 0); c.fill();
            c.globalCompositeOperation = "source-over"; break;
        case "record.circle":
            circle(0.5, 0.5, 0.42, false); circle(0.5, 0.5, 0.24, true); break;
        case "xmark":
            line([0.22, 0.22, 0.78, 0.78]); line([0.78, 0.22, 0.22, 0.78]); break;
        case "chevron.up.chevron.down":
            line([0.3, 0.38, 0.5, 0.2, 0.7, 0.38]); line([0.3, 0.62, 0.5, 0.8, 0.7, 0.62]); break;
        case "bolt.fill":
            c.beginPath(); c.moveTo(...p(0.58, 0.04)); c.lineTo(...p(0.2, 0.56)); c.lineTo(...p(0.48, 0.56));
            c.lineTo(...p(0.4, 0.96)); c.lineTo(...p(0.8, 0.42)); c.lineTo(...p(0.52, 0.42)); c.closePath(); c.fill(); break;
        }
    }
}
