// The recording shortcut field over `settingsView.shortcutField`: a click
// listens, key presses go to the model as X keycodes, Escape and focus leaving
// stop listening.
import QtQuick
import QtQuick.Layouts

Rectangle {
    id: field
    objectName: "shortcutField"
    readonly property var model: settingsView.shortcutField

    Layout.preferredWidth: 120
    Layout.preferredHeight: 26
    radius: 6
    color: "#3a3a3c"
    border.width: model.borderWidth
    border.color: model.isRecording ? "#ff9f0a" : Qt.rgba(1, 1, 1, 0.15)
    activeFocusOnTab: true

    Accessible.role: Accessible.Button
    Accessible.name: qsTr("Recording Shortcut")
    Accessible.description: label.text
    Accessible.onPressAction: listen()

    function listen() {
        forceActiveFocus()
        model.beginRecording()
    }

    Text {
        id: label
        anchors { fill: parent; leftMargin: 4; rightMargin: 4 }
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        text: field.model.text
        font.pixelSize: 13
        font.weight: Font.Medium
        color: field.model.isRecording ? "#ff9f0a" : "white"
    }
    MouseArea {
        anchors.fill: parent
        onPressed: field.listen()
    }
    Keys.onPressed: (event) => {
        if (event.key === Qt.Key_Escape) field.model.cancelOperation()
        else field.model.keyPressed(event.nativeScanCode, event.modifiers)
        event.accepted = field.model.isRecording || event.key === Qt.Key_Escape
    }
    onActiveFocusChanged: if (!activeFocus) model.resignFirstResponder()
}
