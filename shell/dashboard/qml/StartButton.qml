// The big start button: a glassy capsule with a gradient rim that warms up
// under the pointer.
import QtQuick
import QtQuick.Controls

Button {
    id: control
    flat: true
    hoverEnabled: true
    text: "START RECORDING"
    Accessible.name: text
    leftPadding: 48; rightPadding: 48; topPadding: 18; bottomPadding: 18
    scale: hovered ? 1.03 : 1
    Behavior on scale { SpringAnimation { spring: 6; damping: 0.4 } }

    HoverHandler {
        cursorShape: Qt.PointingHandCursor
        onHoveredChanged: hovered ? dashboard.playDemo("start") : dashboard.hideDemo()
    }

    contentItem: Row {
        spacing: 10
        Symbol {
            id: mark
            anchors.verticalCenter: parent.verticalCenter
            name: "record.circle"
            size: 18
            weight: 2
            color: control.hovered ? "white" : Qt.rgba(1, 0.4, 0.4, 1)
            SequentialAnimation on opacity {
                running: control.hovered
                loops: Animation.Infinite
                onStopped: mark.opacity = 1
                NumberAnimation { to: 0.45; duration: 600; easing.type: Easing.InOutSine }
                NumberAnimation { to: 1; duration: 600; easing.type: Easing.InOutSine }
            }
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: control.text
            font.pixelSize: 14
            font.bold: true
            font.letterSpacing: 1.5
            color: control.hovered ? "white" : Qt.rgba(1, 1, 1, 0.9)
        }
    }
    background: Item {
        Rectangle {   // the red glow under the pointer
            anchors.fill: parent
            anchors.margins: -6
            radius: height / 2
            color: Qt.rgba(1, 0, 0, control.hovered ? 0.12 : 0)
        }
        Rectangle {
            objectName: "startButtonFill"
            anchors.fill: parent
            radius: height / 2
            color: Qt.rgba(1, 1, 1, 0.05)
        }
        GradientStroke {
            anchors.fill: parent
            radius: height / 2
            lineWidth: 2
            fromColor: control.hovered ? Qt.rgba(0.8, 0.2, 0.3, 1) : Qt.rgba(1, 1, 1, 0.3)
            toColor: control.hovered ? Qt.rgba(0.3, 0.1, 0.8, 1) : Qt.rgba(1, 1, 1, 0.1)
        }
    }
}
