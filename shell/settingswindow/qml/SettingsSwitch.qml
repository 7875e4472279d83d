// A row's switch: a pill with a sliding knob and no visible label; its row's
// label is its accessible name.
import QtQuick
import QtQuick.Controls

Switch {
    id: control
    property string name
    padding: 0
    implicitWidth: indicator.implicitWidth
    implicitHeight: indicator.implicitHeight
    Accessible.name: name
    indicator: Rectangle {
        implicitWidth: 38
        implicitHeight: 22
        y: (control.height - height) / 2
        radius: 11
        color: control.checked ? "#0a84ff" : "#48484a"
        Behavior on color { ColorAnimation { duration: 150 } }
        Rectangle {
            x: control.checked ? parent.width - width - 2 : 2
            y: 2
            width: 18; height: 18; radius: 9
            color: "white"
            Behavior on x { NumberAnimation { duration: 150; easing.type: Easing.InOutQuad } }
        }
    }
    contentItem: Item {}
}
