// The dashboard: preview, webcam card, six feature tiles and the start
// button over a slowly drifting dark background. Binds to `dashboard`
// (DashboardViewModel) and forwards every click to it.
import QtQuick
import QtQuick.Controls
import QtQuick.Window

Rectangle {
    id: root
    width: 520
    height: 705
    color: Qt.rgba(0.03, 0.03, 0.05, 1)
    readonly property color backgroundColor: color

    // The window has no title bar: the background moves it.
    MouseArea {
        anchors.fill: parent
        onPressed: root.Window.window.startSystemMove()
    }

    Item {
        id: background
        anchors.fill: parent
        clip: true
        property bool animating: false
        property real phase: 0
        Component.onCompleted: animating = true
        SequentialAnimation on phase {
            running: background.animating
            loops: Animation.Infinite
            NumberAnimation { from: 0; to: 1; duration: 12000; easing.type: Easing.InOutQuad }
            NumberAnimation { from: 1; to: 0; duration: 12000; easing.type: Easing.InOutQuad }
        }
        Repeater {
            model: [
                { c: Qt.rgba(0.3, 0.1, 0.5, 0.15), w: 700, h: 400, blur: 120, x0: -80, x1: 80, y0: -250, y1: -250 },
                { c: Qt.rgba(0.1, 0.3, 0.6, 0.12), w: 500, h: 500, blur: 140, x0: 200, x1: -150, y0: 50, y1: 200 },
                { c: Qt.rgba(0, 1, 1, 0.08), w: 300, h: 300, blur: 120, x0: -50, x1: 200, y0: 200, y1: -50 }
            ]
            delegate: Glow {
                required property var modelData
                // Blurring spreads the shape by about its radius.
                width: modelData.w + modelData.blur
                height: modelData.h + modelData.blur
                blur: modelData.blur
                glowColor: modelData.c
                x: (root.width - width) / 2 + modelData.x0 + (modelData.x1 - modelData.x0) * background.phase
                y: (root.height - height) / 2 + modelData.y0 + (modelData.y1 - modelData.y0) * background.phase
            }
        }
    }

    // Header: icon, name, the tray's commands where there is no tray, close.
    Row {
        id: header
        x: 20; y: 20
        width: parent.width - 40
        height: 32
        spacing: 10
        Image {
            width: 32; height: 32
            source: "qrc:/vantrel/icons/app.vantrel.Vantrel.svg"
            sourceSize: Qt.size(64, 64)
            fillMode: Image.PreserveAspectFit
            Accessible.ignored: true
        }
        Text {
            anchors.verticalCenter: parent.verticalCenter
            text: "Vantrel"
            font.pixelSize: 20
            font.weight: Font.DemiBold
            font.letterSpacing: 1
            color: "white"
        }
    }
    Row {
        anchors { right: parent.right; rightMargin: 20; top: parent.top; topMargin: 20 }
        height: 32
        spacing: 4
        Repeater {
            model: commands.trayAvailable ? [] : [
                { text: "Settings...", run: () => commands.openSettings() },
                { text: "Check for Updates...", run: () => commands.checkForUpdates() },
                { text: "Quit", run: () => commands.quit() }
            ]
            delegate: Button {
                required property var modelData
                anchors.verticalCenter: parent.verticalCenter
                flat: true
                text: modelData.text
                Accessible.name: modelData.text
                onClicked: modelData.run()
                contentItem: Text { text: parent.text; font.pixelSize: 11; color: Qt.rgba(1, 1, 1, 0.55) }
                background: Item {}
            }
        }
        Button {
            objectName: "closeButton"
            width: 32; height: 32
            flat: true
            Accessible.name: "Close"
            onClicked: dashboard.close()
            HoverHandler { cursorShape: Qt.PointingHandCursor }
            background: Rectangle { radius: 16; color: Qt.rgba(1, 1, 1, parent.hovered ? 0.08 : 0) }
            contentItem: Item {
                Symbol { anchors.centerIn: parent; name: "xmark"; size: 14; weight: 1.8; color: Qt.rgba(1, 1, 1, 0.4) }
            }
        }
    }

    Flickable {
        id: scroller
        anchors { left: parent.left; right: parent.right; top: parent.top; topMargin: 60; bottom: startRow.top }
        contentWidth: width
        contentHeight: content.height + 24
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar { policy: ScrollBar.AsNeeded }

        Column {
            id: content
            x: 20
            width: 480
            spacing: 16
            topPadding: 8

            Preview {
                objectName: "preview"
                width: 480
                height: 270
            }

            WebcamCard { width: 480 }

            Grid {
                columns: 3
                spacing: 16
                width: 480
                Repeater {
                    model: [
                        { feature: "autoZoom", title: "Auto Zoom", symbol: "magnifyingglass", setting: "enableAutoZoom" },
                        { feature: "systemAudio", title: "System Audio", symbol: "speaker.wave.2", setting: "enableSystemAudio" },
                        { feature: "microphone", title: "Microphone", symbol: "mic", setting: "enableMicAudio" },
                        { feature: "keystrokes", title: "Show Keystrokes", symbol: "keyboard", setting: "showKeystrokes" },
                        { feature: "mouseClicks", title: "Mouse Clicks", symbol: "cursorarrow.rays", setting: "showMouseClicks" },
                        { feature: "cursorText", title: "Cursor Text", symbol: "cursorarrow.motionlines", setting: "enableCursorFollowText" }
                    ]
                    delegate: FeatureTile {
                        required property var modelData
                        width: (480 - 2 * 16) / 3
                        feature: modelData.feature
                        title: modelData.title
                        symbol: modelData.symbol
                        isOn: dashboard.settings[modelData.setting]
                        subContent: modelData.feature === "microphone" ? microphoneMenu
                                  : modelData.feature === "keystrokes" ? keystrokeMenu : null
                        onToggled: dashboard.setFeature(feature, !isOn)
                    }
                }
            }
        }
    }

    Component {
        id: microphoneMenu
        DeviceMenuButton {
            objectName: "microphoneMenu"
            label: dashboard.microphoneLabel
            entries: dashboard.microphones
            onChosen: (id) => dashboard.selectMicrophone(id)
        }
    }
    Component {
        id: keystrokeMenu
        DeviceMenuButton {
            objectName: "keystrokeModeMenu"
            width: 100
            label: dashboard.keystrokeDisplayMode === 0 ? "All inputs" : "Shortcuts"
            entries: [{ name: "Show all inputs", id: 0 }, { name: "Show shortcuts only", id: 1 }]
            onChosen: (mode) => dashboard.keystrokeDisplayMode = mode
        }
    }

    Item {
        id: startRow
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: start.implicitHeight + 32
        Rectangle {
            anchors.fill: parent
            gradient: Gradient {
                GradientStop { position: 0; color: "transparent" }
                GradientStop { position: 1; color: Qt.rgba(root.backgroundColor.r, root.backgroundColor.g, root.backgroundColor.b, 0.95) }
            }
        }
        StartButton {
            id: start
            objectName: "startButton"
            anchors.centerIn: parent
            onClicked: dashboard.startRecording()
        }
    }
}
