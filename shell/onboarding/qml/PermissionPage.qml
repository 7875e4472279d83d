// A privilege's page: what it is for, the way to the settings, and a check
// mark once it is granted (the model moves on by itself 1.2 s later).
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

ColumnLayout {
    property int index
    property string symbol
    property var colors
    property string title
    property string description
    property bool isGranted

    spacing: 14
    Label {
        Layout.alignment: Qt.AlignHCenter
        text: isGranted ? "✔" : symbol
        font.pixelSize: 56
        color: isGranted ? "#34c759" : colors[0]
        SequentialAnimation on opacity {
            running: !isGranted
            loops: Animation.Infinite
            NumberAnimation { to: 0.45; duration: 900; easing.type: Easing.InOutSine }
            NumberAnimation { to: 1; duration: 900; easing.type: Easing.InOutSine }
        }
    }
    Label { Layout.alignment: Qt.AlignHCenter; text: title; font.pixelSize: 26; font.bold: true; color: "white" }
    Label {
        Layout.alignment: Qt.AlignHCenter
        horizontalAlignment: Text.AlignHCenter
        text: description
        font.pixelSize: 14
        color: Qt.rgba(1, 1, 1, 0.6)
    }
    ProminentButton {
        visible: !isGranted
        Layout.alignment: Qt.AlignHCenter
        text: qsTr("Open System Settings")
        onClicked: index === 2 ? onboarding.grantAccessibility() : onboarding.openSettings(index)
    }
    Label {
        visible: !isGranted
        Layout.alignment: Qt.AlignHCenter
        text: qsTr("Continues automatically after granting permission in Settings")
        font.pixelSize: 11
        color: Qt.rgba(1, 1, 1, 0.5)
    }
    Label {
        visible: isGranted
        Layout.alignment: Qt.AlignHCenter
        text: qsTr("Granted ✓")
        font.pixelSize: 15
        font.bold: true
        color: "#34c759"
    }
    RowLayout {
        Layout.alignment: Qt.AlignHCenter
        spacing: 40
        PlainButton { text: qsTr("Back"); onClicked: onboarding.currentPage = index - 1 }
        PlainButton {
            text: qsTr("Next →")
            textColor: isGranted ? "#0a84ff" : Qt.rgba(1, 1, 1, 0.6)
            onClicked: onboarding.currentPage = index + 1
        }
    }
}
