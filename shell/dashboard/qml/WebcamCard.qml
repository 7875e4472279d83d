// The webcam switch as a wide card; while on, the camera and corner choices.
import QtQuick
import QtQuick.Controls

Item {
    id: card
    readonly property bool isOn: dashboard.settings.showWebcam
    implicitHeight: body.height

    HoverHandler {
        onHoveredChanged: hovered ? dashboard.playDemo("webcam") : dashboard.hideDemo()
    }

    Rectangle {
        x: 0; y: card.isOn ? 6 : 2
        width: body.width; height: body.height; radius: 16
        color: card.isOn ? Qt.rgba(0.2, 0.4, 1, 0.12) : Qt.rgba(0, 0, 0, 0.15)
    }
    Rectangle {
        id: body
        width: card.width
        height: column.implicitHeight + 32
        radius: 16
        color: card.isOn ? Qt.rgba(0.13, 0.15, 0.27, 0.55) : Qt.rgba(1, 1, 1, 0.04)
        Behavior on color { ColorAnimation { duration: 250 } }
        Behavior on height { NumberAnimation { duration: 250; easing.type: Easing.OutCubic } }
        GradientStroke {
            anchors.fill: parent
            radius: 16
            lineWidth: card.isOn ? 1.5 : 1
            fromColor: card.isOn ? Qt.rgba(0.4, 0.8, 1, 0.6) : Qt.rgba(1, 1, 1, 0.1)
            toColor: card.isOn ? Qt.rgba(0.4, 0.4, 1, 0.3) : Qt.rgba(1, 1, 1, 0.01)
        }

        Column {
            id: column
            x: 20; y: 16
            width: parent.width - 40
            spacing: 12

            CheckBox {   // a switch to a screen reader; the model decides, so a click changes nothing here
                width: parent.width
                padding: 0
                checked: card.isOn
                nextCheckState: () => checkState
                indicator: Item {}
                Accessible.name: "Webcam Overlay"
                Accessible.description: card.isOn ? "ON" : "OFF"
                onClicked: dashboard.setFeature("webcam", !card.isOn)
                background: Item {}
                contentItem: Row {
                    spacing: 14
                    Rectangle {
                        width: 40; height: 40; radius: 20
                        color: Qt.rgba(1, 1, 1, card.isOn ? 0.1 : 0.05)
                        Rectangle {
                            anchors.centerIn: parent
                            width: 26; height: 26; radius: 13
                            color: Qt.rgba(0.4, 0.6, 1, 0.18)
                            visible: card.isOn
                        }
                        Symbol {
                            anchors.centerIn: parent
                            name: "camera"
                            size: 16
                            color: Qt.rgba(1, 1, 1, 0.8)
                            gradient: card.isOn
                            topColor: Qt.rgba(0.4, 0.8, 1, 1)
                            bottomColor: Qt.rgba(0.4, 0.4, 1, 1)
                        }
                    }
                    Text {
                        anchors.verticalCenter: parent.verticalCenter
                        text: "Webcam Overlay"
                        font.pixelSize: 13
                        font.weight: Font.DemiBold
                        color: Qt.rgba(1, 1, 1, card.isOn ? 1 : 0.6)
                    }
                    StatusLine {
                        anchors.verticalCenter: parent.verticalCenter
                        on: card.isOn
                        fontSize: 11
                    }
                }
            }

            Row {
                visible: card.isOn
                opacity: card.isOn ? 1 : 0
                Behavior on opacity { NumberAnimation { duration: 250 } }
                spacing: 10
                DeviceMenuButton {
                    objectName: "cameraMenu"
                    width: column.width - 120
                    label: dashboard.cameraLabel
                    entries: dashboard.cameras
                    onChosen: (id) => dashboard.selectCamera(id)
                }
                DeviceMenuButton {
                    objectName: "webcamPositionMenu"
                    width: 110   // "Bottom Right" whole at this size
                    readonly property var names: ["Top Left", "Top Right", "Bottom Left", "Bottom Right"]
                    label: names[dashboard.webcamPosition] || ""
                    entries: names.map((name, index) => ({ name: name, id: index }))
                    onChosen: (position) => dashboard.webcamPosition = position
                }
            }
        }
    }
}
