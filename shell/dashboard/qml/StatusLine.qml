// The glowing dot and "ON"/"OFF" under a switch's title.
import QtQuick

Row {
    property bool on: false
    property real fontSize: 10
    readonly property color accent: Qt.rgba(0.4, 0.8, 1, 1)
    spacing: 5
    Item {
        width: 6; height: 6
        anchors.verticalCenter: parent.verticalCenter
        Rectangle {   // the glow, when on
            anchors.centerIn: parent
            width: 14; height: 14; radius: 7
            color: Qt.rgba(0.4, 0.8, 1, 0.25)
            visible: parent.parent.on
        }
        Rectangle {
            anchors.fill: parent
            radius: 3
            color: parent.parent.on ? parent.parent.accent : Qt.rgba(1, 1, 1, 0.2)
        }
    }
    Text {
        text: parent.on ? "ON" : "OFF"
        font.pixelSize: parent.fontSize
        font.bold: true
        font.letterSpacing: 1
        color: parent.on ? parent.accent : Qt.rgba(1, 1, 1, 0.4)
    }
}
