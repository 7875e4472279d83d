// The settings window: the tab sidebar and the selected tab's cards. Binds to
// `settingsView` (SettingsViewModel) and forwards clicks; every decision is
// the model's, every setting is stored as it changes.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

Rectangle {
    id: root
    width: 620
    height: 460
    color: "#1c1c1e"

    // The dark palette the stock controls (pickers, buttons, spinner) draw with.
    palette {
        window: "#1c1c1e"; windowText: "white"; base: "#3a3a3c"; alternateBase: "#2c2c2e"
        text: "white"; button: "#3a3a3c"; buttonText: "white"; brightText: "white"
        highlight: "#0a84ff"; highlightedText: "white"; mid: "#48484a"; dark: "#151517"
        light: "#505052"; midlight: "#444446"; shadow: "black"; placeholderText: "#8e8e93"
    }

    readonly property var tabs: [
        { key: "general", symbol: "⚙", name: qsTr("General") },
        { key: "overlay", symbol: "❐", name: qsTr("Overlay") },
        { key: "audio", symbol: "∿", name: qsTr("Audio") },
        { key: "webcam", symbol: "◉", name: qsTr("Webcam") }
    ]

    Rectangle {
        id: sidebar
        width: 160
        anchors { top: parent.top; bottom: parent.bottom; left: parent.left }
        color: "#242426"
        Accessible.role: Accessible.PageTabList
        Accessible.name: qsTr("Settings")

        Column {
            anchors { fill: parent; leftMargin: 8; rightMargin: 8 }
            spacing: 4
            Text {
                text: qsTr("Settings")
                font.pixelSize: 11
                font.weight: Font.DemiBold
                color: "#98989d"
                leftPadding: 8; topPadding: 20; bottomPadding: 8
            }
            Repeater {
                model: root.tabs
                delegate: SidebarButton {
                    width: parent.width
                    symbol: modelData.symbol
                    text: modelData.name
                    selected: settingsView.selectedTab === modelData.key
                    onClicked: settingsView.selectedTab = modelData.key
                }
            }
        }
    }

    Rectangle { // the divider
        id: divider
        width: 1
        anchors { top: parent.top; bottom: parent.bottom; left: sidebar.right }
        color: "#3a3a3c"
    }

    ScrollView {
        id: page
        objectName: "page"
        anchors { top: parent.top; bottom: parent.bottom; left: divider.right; right: parent.right }
        contentWidth: availableWidth
        contentHeight: tab.height + 48
        clip: true

        Loader {
            id: tab
            x: 24
            y: 24
            width: page.availableWidth - 48
            opacity: 1
            source: {
                switch (settingsView.selectedTab) {
                case "overlay": return "OverlayTab.qml"
                case "audio": return "AudioTab.qml"
                case "webcam": return "WebcamTab.qml"
                default: return "GeneralTab.qml"
                }
            }
            // A new tab eases in over 0.15 s.
            onLoaded: fadeIn.restart()
            NumberAnimation { id: fadeIn; target: tab; property: "opacity"; from: 0; to: 1; duration: 150; easing.type: Easing.InOutQuad }
        }
    }
}
