// Webcam: the picture-in-picture corner.
import QtQuick
import QtQuick.Layouts

ColumnLayout {
    spacing: 20
    readonly property var settings: settingsView.settings

    SettingsCard {
        title: qsTr("PICTURE-IN-PICTURE")
        SettingsRow {
            symbol: "◉"; iconColor: "#ff375f"
            label: qsTr("Show Webcam Overlay"); detail: qsTr("Applies from the next recording")
            SettingsSwitch {
                name: qsTr("Show Webcam Overlay")
                checked: settings.showWebcam
                onToggled: settings.showWebcam = checked
            }
        }
        RowDivider { visible: settingsView.showsCameraPickers }
        SettingsRow {
            visible: settingsView.showsCameraPickers
            symbol: "▶"; iconColor: "#8e8e93"
            label: qsTr("Camera")
            SettingsPicker {
                name: qsTr("Camera")
                model: settingsView.cameras
                textRole: "name"
                currentIndex: settingsView.selectedCameraIndex
                onActivated: (index) => settingsView.selectCamera(index)
            }
        }
        RowDivider { visible: settingsView.showsCameraPickers }
        SettingsRow {
            visible: settingsView.showsCameraPickers
            symbol: "◲"; iconColor: "#30b0c7"
            label: qsTr("Display Position")
            SettingsPicker {
                name: qsTr("Display Position")
                model: [qsTr("Top Left"), qsTr("Top Right"), qsTr("Bottom Left"), qsTr("Bottom Right")]
                currentIndex: settingsView.webcamPositionIndex
                onActivated: (index) => settingsView.webcamPositionIndex = index
            }
        }
    }
}
