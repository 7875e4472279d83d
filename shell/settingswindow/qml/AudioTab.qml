// Audio: the microphone and the system's sound.
import QtQuick
import QtQuick.Layouts

ColumnLayout {
    spacing: 20
    readonly property var settings: settingsView.settings

    SettingsCard {
        title: qsTr("AUDIO INPUT")
        SettingsRow {
            symbol: "♪"; iconColor: "#ff9f0a"
            label: qsTr("Record Microphone")
            SettingsSwitch {
                name: qsTr("Record Microphone")
                checked: settings.enableMicAudio
                onToggled: settings.enableMicAudio = checked
            }
        }
        RowDivider { visible: settingsView.showsMicrophonePicker }
        SettingsRow {
            visible: settingsView.showsMicrophonePicker
            symbol: "≡"; iconColor: "#8e8e93"
            label: qsTr("Microphone")
            SettingsPicker {
                name: qsTr("Microphone")
                model: settingsView.microphones
                textRole: "name"
                currentIndex: settingsView.selectedMicrophoneIndex
                onActivated: (index) => settingsView.selectMicrophone(index)
            }
        }
        RowDivider {}
        SettingsRow {
            symbol: "♫"; iconColor: "#0a84ff"
            label: qsTr("Record System Audio"); detail: qsTr("Captures audio playing on your Mac")
            SettingsSwitch {
                name: qsTr("Record System Audio")
                checked: settings.enableSystemAudio
                onToggled: settings.enableSystemAudio = checked
            }
        }
    }
    Text {
        text: "ⓘ  " + qsTr("Audio settings apply from the next recording.")
        font.pixelSize: 11
        color: "#98989d"
        Accessible.role: Accessible.StaticText
        Accessible.name: qsTr("Audio settings apply from the next recording.")
    }
}
