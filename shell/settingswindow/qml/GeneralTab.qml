// General: where recordings go, auto zoom, the display, the shortcut.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

ColumnLayout {
    spacing: 20
    readonly property var settings: settingsView.settings

    SettingsCard {
        title: qsTr("SAVE LOCATION")
        RowLayout {
            Layout.fillWidth: true
            Layout.margins: 16
            spacing: 12
            Image {
                Layout.preferredWidth: 36
                Layout.preferredHeight: 36
                source: "image://foldericon/" + settingsView.saveFolderPath
                sourceSize: Qt.size(36, 36)
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Text { text: settingsView.saveFolderName; font.pixelSize: 13; color: "white" }
                Text {
                    Layout.fillWidth: true
                    text: settingsView.saveFolderPath
                    font.pixelSize: 11
                    color: "#98989d"
                    elide: Text.ElideMiddle
                    maximumLineCount: 1
                }
            }
            Button {
                visible: settingsView.showsResetSaveLocation
                flat: true
                text: qsTr("Reset")
                font.pixelSize: 12
                Accessible.name: qsTr("Reset Save Location")
                Accessible.onPressAction: clicked()
                onClicked: settingsView.resetSaveFolder()
            }
            Button {
                text: qsTr("Change...")
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: settingsView.changeSaveFolder()
            }
        }
    }

    SettingsCard {
        title: qsTr("RECORDING")
        SettingsRow {
            symbol: "⌖"; iconColor: "#0a84ff"
            label: qsTr("Auto Zoom"); detail: qsTr("Follows your mouse and zooms in automatically")
            SettingsSwitch {
                name: qsTr("Auto Zoom")
                checked: settings.enableAutoZoom
                onToggled: settings.enableAutoZoom = checked
            }
        }
        RowDivider { visible: settingsView.showsFullScreenBackupRow }
        SettingsRow {
            visible: settingsView.showsFullScreenBackupRow
            symbol: "❏"; iconColor: "#5e5ce6"
            label: qsTr("Save Full-Screen Backup"); detail: qsTr("Also saves an unzoomed full-screen video")
            SettingsSwitch {
                name: qsTr("Save Full-Screen Backup")
                checked: settings.saveFullScreenBackup
                onToggled: settings.saveFullScreenBackup = checked
            }
        }
        RowDivider {}
        SettingsRow {
            symbol: "▤"; iconColor: "#ff9f0a"
            label: qsTr("Open in Finder After Recording")
            SettingsSwitch {
                name: qsTr("Open in Finder After Recording")
                checked: settings.openFinderAfterRecording
                onToggled: settings.openFinderAfterRecording = checked
            }
        }
    }

    SettingsCard {
        title: qsTr("TARGET DISPLAY")
        SettingsRow {
            symbol: "▭"; iconColor: "#30b0c7"
            label: qsTr("Recording Display")
            SettingsPicker {
                visible: !settingsView.isDetectingDisplays
                Layout.preferredWidth: 120
                name: qsTr("Recording Display")
                model: settingsView.displays
                textRole: "name"
                currentIndex: settingsView.selectedDisplayIndex
                onActivated: (index) => settingsView.selectDisplay(index)
            }
            BusyIndicator {
                visible: settingsView.isDetectingDisplays
                running: visible
                implicitWidth: 24; implicitHeight: 24
                Accessible.name: qsTr("Detecting Displays")
            }
        }
        Button {
            Layout.alignment: Qt.AlignRight
            Layout.rightMargin: 16
            Layout.topMargin: 4
            Layout.bottomMargin: 10
            flat: true
            text: qsTr("Redetect Displays")
            font.pixelSize: 12
            palette.buttonText: "#0a84ff"
            Accessible.name: text
            Accessible.onPressAction: clicked()
            onClicked: settingsView.redetectDisplays()
        }
    }

    SettingsCard {
        title: qsTr("KEYBOARD SHORTCUT")
        SettingsRow {
            symbol: "⌨"; iconColor: "#bf5af2"
            label: qsTr("Start / Stop Recording")
            ShortcutField {}
        }
        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: 16; Layout.rightMargin: 16; Layout.topMargin: 4; Layout.bottomMargin: 10
            Text {
                Layout.fillWidth: true
                text: qsTr("Click the shortcut field, then press the desired key combination.")
                font.pixelSize: 11
                color: "#98989d"
                wrapMode: Text.WordWrap
            }
            Button {
                flat: true
                text: qsTr("Reset")
                font.pixelSize: 12
                Accessible.name: qsTr("Reset Shortcut")
                Accessible.onPressAction: clicked()
                onClicked: settingsView.resetShortcut()
            }
        }
    }
}
