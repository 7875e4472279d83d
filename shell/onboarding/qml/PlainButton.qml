// A borderless text button ("Back", "Next →").
import QtQuick
import QtQuick.Controls

Button {
    id: control
    property color textColor: Qt.rgba(1, 1, 1, 0.6)
    flat: true
    Accessible.name: text
    // A screen reader presses through the action as a click does.
    Accessible.onPressAction: clicked()
    contentItem: Text {
        text: control.text
        font.pixelSize: 13
        color: control.textColor
    }
    background: Item {}
}
