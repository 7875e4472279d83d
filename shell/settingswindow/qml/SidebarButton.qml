// One row of the sidebar: symbol and name, the accent colour when selected.
import QtQuick
import QtQuick.Controls

AbstractButton {
    id: control
    property string symbol
    property bool selected

    implicitHeight: 32
    Accessible.role: Accessible.PageTab
    Accessible.name: text
    Accessible.selected: selected
    Accessible.onPressAction: clicked()

    contentItem: Row {
        leftPadding: 12
        spacing: 6
        Text {
            width: 18
            anchors.verticalCenter: parent.verticalCenter
            horizontalAlignment: Text.AlignHCenter
            text: control.symbol
            font.pixelSize: 13
            font.weight: Font.Medium
            color: control.selected ? "white" : "#98989d"
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: control.text
            font.pixelSize: 13
            font.weight: Font.Medium
            color: "white"
        }
    }
    background: Rectangle {
        radius: 8
        color: control.selected ? "#0a84ff" : control.hovered ? Qt.rgba(1, 1, 1, 0.06) : "transparent"
        Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
    }
}
