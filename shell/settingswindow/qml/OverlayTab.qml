// Overlay: what is drawn over the recording.
import QtQuick
import QtQuick.Layouts

ColumnLayout {
    spacing: 20
    readonly property var settings: settingsView.settings

    SettingsCard {
        title: qsTr("ON-SCREEN DISPLAY")
        SettingsRow {
            symbol: "⌨"; iconColor: "#0a84ff"
            label: qsTr("Show Keystrokes")
            SettingsSwitch {
                name: qsTr("Show Keystrokes")
                checked: settings.showKeystrokes
                onToggled: settings.showKeystrokes = checked
            }
        }
        RowDivider { visible: settingsView.showsDisplayModeRow }
        SettingsRow {
            visible: settingsView.showsDisplayModeRow
            symbol: "≡"; iconColor: "#5e5ce6"
            label: qsTr("Display Mode")
            SettingsPicker {
                name: qsTr("Display Mode")
                model: [qsTr("Show all inputs"), qsTr("Show shortcuts only")]
                currentIndex: settingsView.keystrokeDisplayModeIndex
                onActivated: (index) => settingsView.keystrokeDisplayModeIndex = index
            }
        }
        RowDivider {}
        SettingsRow {
            symbol: "◎"; iconColor: "#ff453a"
            label: qsTr("Show Mouse Click Effects")
            SettingsSwitch {
                name: qsTr("Show Mouse Click Effects")
                checked: settings.showMouseClicks
                onToggled: settings.showMouseClicks = checked
            }
        }
        RowDivider {}
        SettingsRow {
            symbol: "➚"; iconColor: "#30d158"
            label: qsTr("Cursor-Following Text"); detail: qsTr("Shows UI element names near your cursor")
            SettingsSwitch {
                name: qsTr("Cursor-Following Text")
                checked: settings.enableCursorFollowText
                onToggled: settings.enableCursorFollowText = checked
            }
        }
    }
}
