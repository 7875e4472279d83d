// A menu button with the current choice and a chevron, on a faint rounded
// tile; picking an entry calls `chosen(value)`. `entries` are {name, id}.
import QtQuick
import QtQuick.Controls
import QtQml

Button {
    id: control
    property string label: ""
    property var entries: []
    signal chosen(var value)
    flat: true
    hoverEnabled: true
    Accessible.name: label
    Accessible.role: Accessible.ButtonMenu
    leftPadding: 10; rightPadding: 10; topPadding: 6; bottomPadding: 6
    contentItem: Row {
        spacing: 6
        Text {
            width: Math.max(0, control.availableWidth - 18)
            text: control.label
            color: "white"
            font.pixelSize: 11
            elide: Text.ElideRight
            anchors.verticalCenter: parent.verticalCenter
        }
        Symbol {
            name: "chevron.up.chevron.down"
            size: 10
            color: Qt.rgba(1, 1, 1, 0.4)
            anchors.verticalCenter: parent.verticalCenter
        }
    }
    background: Rectangle { radius: 6; color: Qt.rgba(1, 1, 1, control.hovered ? 0.14 : 0.1) }
    onClicked: menu.popup(control, 0, control.height + 2)

    Menu {
        id: menu
        Instantiator {
            model: control.entries
            delegate: MenuItem {
                required property var modelData
                text: modelData.name
                Accessible.name: modelData.name
                onTriggered: control.chosen(modelData.id)
            }
            onObjectAdded: (index, object) => menu.insertItem(index, object)
            onObjectRemoved: (index, object) => menu.removeItem(object)
        }
    }
}
