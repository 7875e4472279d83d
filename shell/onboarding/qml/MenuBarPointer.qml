// The arrow at the tray icon after the first run: a bouncing arrow over a
// dark capsule whose text is always Japanese. Ignores the pointer.
import QtQuick

Item {
    width: 260
    height: 100
    opacity: 0
    Component.onCompleted: opacity = 1
    Behavior on opacity { NumberAnimation { duration: 600; easing.type: Easing.OutCubic } }

    Text {
        id: arrow
        text: "↑"
        width: 50
        height: 50
        anchors.horizontalCenter: parent.horizontalCenter
        horizontalAlignment: Text.AlignHCenter
        font.pixelSize: 40
        font.bold: true
        color: "white"
        style: Text.Raised
        styleColor: Qt.rgba(0, 0, 0, 0.5)
        SequentialAnimation on y {
            loops: Animation.Infinite
            NumberAnimation { from: 0; to: 8; duration: 800; easing.type: Easing.InOutQuad }
            NumberAnimation { from: 8; to: 0; duration: 800; easing.type: Easing.InOutQuad }
        }
    }
    Rectangle {
        width: 220
        height: 36
        radius: 18
        anchors { horizontalCenter: parent.horizontalCenter; bottom: parent.bottom; bottomMargin: 8 }
        color: Qt.rgba(0.12, 0.12, 0.14, 0.92)
        border.color: Qt.rgba(1, 1, 1, 0.12)
        Text {
            anchors.centerIn: parent
            text: "ここから録画を開始できます"
            font.pixelSize: 13
            font.weight: Font.Medium
            color: "white"
        }
    }
}
