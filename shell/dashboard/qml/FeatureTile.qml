// One feature switch: a symbol in a circle, the title and its state; the
// header flips it through `toggled`, and `subContent` shows while it is on.
// Hovering plays the feature's demo.
import QtQuick
import QtQuick.Controls

Item {
    id: tile
    property string feature: ""
    property string title: ""
    property string symbol: ""
    property bool isOn: false
    property Component subContent: null
    readonly property bool hovered: hover.hovered
    signal toggled()

    implicitHeight: card.height
    scale: hovered && !isOn ? 1.02 : 1
    Behavior on scale { SpringAnimation { spring: 5; damping: 0.45 } }

    HoverHandler {
        id: hover
        onHoveredChanged: hovered ? dashboard.playDemo(tile.feature) : dashboard.hideDemo()
    }

    // Shadow: a soft darker card beneath.
    Rectangle {
        x: 0; y: tile.isOn ? 6 : 2
        width: card.width; height: card.height; radius: 16
        color: tile.isOn ? Qt.rgba(0.2, 0.4, 1, 0.12) : Qt.rgba(0, 0, 0, 0.15)
    }

    Rectangle {
        id: card
        width: tile.width
        height: column.implicitHeight + 24
        radius: 16
        color: tile.isOn ? Qt.rgba(0.13, 0.15, 0.27, 0.55) : Qt.rgba(1, 1, 1, 0.04)
        Behavior on color { ColorAnimation { duration: 250 } }

        GradientStroke {
            anchors.fill: parent
            radius: 16
            lineWidth: tile.hovered ? 1.5 : 1
            fromColor: tile.isOn ? Qt.rgba(0.4, 0.8, 1, 0.6) : Qt.rgba(1, 1, 1, tile.hovered ? 0.2 : 0.1)
            toColor: tile.isOn ? Qt.rgba(0.4, 0.4, 1, 0.3) : Qt.rgba(1, 1, 1, 0.01)
        }

        Column {
            id: column
            x: 12; y: 12
            width: parent.width - 24
            spacing: 10

            CheckBox {   // a switch to a screen reader; the model decides, so a click changes nothing here
                id: header
                objectName: "tile-" + tile.feature
                width: parent.width
                padding: 0
                checked: tile.isOn
                nextCheckState: () => checkState
                indicator: Item {}
                Accessible.name: tile.title
                Accessible.description: tile.isOn ? "ON" : "OFF"
                onClicked: tile.toggled()
                background: Item {}
                contentItem: Column {
                    spacing: 10
                    Rectangle {
                        width: 32; height: 32; radius: 16
                        color: Qt.rgba(1, 1, 1, tile.isOn ? 0.1 : 0.05)
                        Rectangle {   // the glow, when on
                            anchors.centerIn: parent
                            width: 22; height: 22; radius: 11
                            color: Qt.rgba(0.4, 0.6, 1, 0.18)
                            visible: tile.isOn
                        }
                        Symbol {
                            anchors.centerIn: parent
                            name: tile.symbol
                            size: 14
                            weight: tile.isOn ? 2.2 : 1.6
                            color: Qt.rgba(1, 1, 1, 0.6)
                            gradient: tile.isOn
                            topColor: Qt.rgba(0.4, 0.8, 1, 1)
                            bottomColor: Qt.rgba(0.4, 0.4, 1, 1)
                        }
                    }
                    Column {
                        spacing: 4
                        Text {
                            text: tile.title
                            font.pixelSize: 13
                            font.bold: true
                            color: Qt.rgba(1, 1, 1, tile.isOn ? 1 : 0.8)
                        }
                        StatusLine { on: tile.isOn }
                    }
                }
            }

            Rectangle {
                visible: tile.isOn && tile.subContent !== null
                width: parent.width; height: 1
                color: Qt.rgba(1, 1, 1, 0.1)
            }
            Loader {
                width: parent.width
                active: tile.isOn && tile.subContent !== null
                visible: active
                sourceComponent: tile.subContent
                opacity: active ? 1 : 0
                Behavior on opacity { NumberAnimation { duration: 250 } }
            }
        }
    }
}
