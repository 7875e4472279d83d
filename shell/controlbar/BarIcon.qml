// Our own drawn symbols for the bar, by name; "-off" variants are crossed out.
import QtQuick

Canvas {
    id: icon
    property string name: ""
    property color color: "white"
    property real size: 15
    implicitWidth: size + 4
    implicitHeight: size + 4
    onNameChanged: requestPaint()
    onColorChanged: requestPaint()

    onPaint: {
        const c = getContext("2d");
        c.reset();
        const s = size, o = 2;
        c.fillStyle = color;
        c.strokeStyle = color;
        c.lineWidth = Math.max(1.4, s / 9);
        c.lineCap = "round";
        c.lineJoin = "round";
        const base = name.split("-")[0];
        c.beginPath();
        if (base === "xmark") {
            c.arc(o + s / 2, o + s / 2, s / 2, 0, Math.PI * 2); c.fill();
            c.strokeStyle = "#202024"; c.beginPath();
            c.moveTo(o + s * 0.32, o + s * 0.32); c.lineTo(o + s * 0.68, o + s * 0.68);
            c.moveTo(o + s * 0.68, o + s * 0.32); c.lineTo(o + s * 0.32, o + s * 0.68); c.stroke();
        } else if (base === "video") {
            c.rect(o, o + s * 0.25, s * 0.65, s * 0.5); c.fill();
            c.beginPath(); c.moveTo(o + s * 0.7, o + s * 0.5); c.lineTo(o + s, o + s * 0.25);
            c.lineTo(o + s, o + s * 0.75); c.closePath(); c.fill();
        } else if (base === "mic") {
            c.rect(o + s * 0.35, o, s * 0.3, s * 0.6); c.fill();
            c.beginPath(); c.arc(o + s / 2, o + s * 0.45, s * 0.3, 0, Math.PI); c.stroke();
            c.beginPath(); c.moveTo(o + s / 2, o + s * 0.75); c.lineTo(o + s / 2, o + s); c.stroke();
        } else if (base === "speaker") {
            c.moveTo(o, o + s * 0.35); c.lineTo(o + s * 0.25, o + s * 0.35); c.lineTo(o + s * 0.5, o + s * 0.1);
            c.lineTo(o + s * 0.5, o + s * 0.9); c.lineTo(o + s * 0.25, o + s * 0.65); c.lineTo(o, o + s * 0.65);
            c.closePath(); c.fill();
            if (name === base) {
                c.beginPath(); c.arc(o + s * 0.5, o + s / 2, s * 0.25, -0.9, 0.9); c.stroke();
                c.beginPath(); c.arc(o + s * 0.5, o + s / 2, s * 0.45, -0.9, 0.9); c.stroke();
            }
        } else if (base === "keyboard") {
            c.rect(o, o + s * 0.2, s, s * 0.6);
            if (name === base) c.fill(); else c.stroke();
            c.fillStyle = name === base ? "#202024" : color;
            for (let i = 0; i < 4; ++i) c.fillRect(o + s * (0.15 + i * 0.2), o + s * 0.35, s * 0.1, s * 0.1);
            c.fillRect(o + s * 0.25, o + s * 0.58, s * 0.5, s * 0.08);
        } else if (base === "cursor") {
            c.moveTo(o + s * 0.3, o + s * 0.15); c.lineTo(o + s * 0.3, o + s * 0.9); c.lineTo(o + s * 0.48, o + s * 0.72);
            c.lineTo(o + s * 0.62, o + s); c.lineTo(o + s * 0.72, o + s * 0.95); c.lineTo(o + s * 0.58, o + s * 0.68);
            c.lineTo(o + s * 0.82, o + s * 0.66); c.closePath(); c.fill();
            if (name === "cursor-rays") {
                c.beginPath(); c.moveTo(o + s * 0.05, o + s * 0.05); c.lineTo(o + s * 0.18, o + s * 0.18);
                c.moveTo(o + s * 0.3, o - 1); c.lineTo(o + s * 0.3, o + s * 0.02);
                c.moveTo(o, o + s * 0.3); c.lineTo(o + s * 0.12, o + s * 0.3); c.stroke();
            }
        } else if (base === "pause") {
            c.fillRect(o + s * 0.2, o + s * 0.1, s * 0.2, s * 0.8); c.fillRect(o + s * 0.6, o + s * 0.1, s * 0.2, s * 0.8);
        } else if (base === "play") {
            c.moveTo(o + s * 0.2, o + s * 0.1); c.lineTo(o + s * 0.9, o + s / 2); c.lineTo(o + s * 0.2, o + s * 0.9);
            c.closePath(); c.fill();
        } else if (base === "stop") {
            c.fillRect(o + s * 0.2, o + s * 0.2, s * 0.6, s * 0.6);
        } else if (base === "chevron") {
            c.moveTo(o + s * 0.15, o + s * 0.35); c.lineTo(o + s / 2, o + s * 0.7); c.lineTo(o + s * 0.85, o + s * 0.35);
            c.stroke();
        }
        if (name.endsWith("-off")) {
            c.strokeStyle = color; c.beginPath();
            c.moveTo(o, o); c.lineTo(o + s, o + s); c.stroke();
        }
    }
}
