// Three blurred colour clouds drifting behind the pages for as long as the
// window lives (8, 10 and 12 s one way, back and forth).
import QtQuick

Item {
    id: aurora
    clip: true
    Rectangle { anchors.fill: parent; color: Qt.rgba(0, 0, 0, 0.15) }
    Repeater {
        model: [
            { c: Qt.rgba(0.5, 0.0, 0.5, 0.45), w: 0.8, x0: -0.2, y0: 0.2, x1: 0.2, y1: -0.1, d: 8000 },
            { c: Qt.rgba(0.29, 0.0, 0.51, 0.4), w: 0.7, x0: 0.3, y0: -0.1, x1: -0.3, y1: 0.2, d: 10000 },
            { c: Qt.rgba(0.0, 0.0, 1.0, 0.35), w: 0.9, x0: 0.2, y0: -0.2, x1: -0.1, y1: 0.1, d: 12000 }
        ]
        delegate: Item {
            id: cloud
            required property var modelData
            property real phase: 0
            width: aurora.width * modelData.w
            height: width
            x: (aurora.width - width) / 2 + aurora.width * (modelData.x0 + (modelData.x1 - modelData.x0) * phase)
            y: (aurora.height - height) / 2 + aurora.height * (modelData.y0 + (modelData.y1 - modelData.y0) * phase)
            // A radial fade stands in for a blur: no shader effects needed.
            Rectangle {
                anchors.fill: parent
                radius: width / 2
                gradient: Gradient {
                    orientation: Gradient.Vertical
                    GradientStop { position: 0.0; color: "transparent" }
                    GradientStop { position: 0.5; color: cloud.modelData.c }
                    GradientStop { position: 1.0; color: "transparent" }
                }
                opacity: 0.8
            }
            SequentialAnimation on phase {
                loops: Animation.Infinite
                NumberAnimation { to: 1; duration: cloud.modelData.d; easing.type: Easing.InOutSine }
                NumberAnimation { to: 0; duration: cloud.modelData.d; easing.type: Easing.InOutSine }
            }
        }
    }
}
