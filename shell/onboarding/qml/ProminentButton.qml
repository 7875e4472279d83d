// The large accent button of the pages; its label is its accessible name.
import QtQuick
import QtQuick.Controls

Button {
    id: control
    implicitWidth: 220 + leftPadding + rightPadding
    implicitHeight: 40
    Accessible.name: text
    // A screen reader presses through the action as a click does.
    Accessible.onPressAction: clicked()
    contentItem: Text {
        text: control.text
        font.pixelSize: 15
        font.weight: Font.DemiBold
        color: "white"
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        radius: 10
        color: control.down ? "#0062cc" : "#0a84ff"
    }
}
