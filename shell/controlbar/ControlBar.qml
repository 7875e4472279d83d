// The control bar's capsule. It binds to `bar` (ControlBarWindowManager) and
// toggles `settings` (AppSettings); which row shows is the manager's call.
import QtQuick
import QtQuick.Controls.Basic

Rectangle {
    id: capsule
    readonly property color dim: Qt.rgba(1, 1, 1, 0.5)
    readonly property color faint: Qt.rgba(1, 1, 1, 0.25)
    readonly property color red: "#ff3b30"
    implicitWidth: content.implicitWidth + 32
    implicitHeight: content.implicitHeight + 20
    width: implicitWidth
    height: implicitHeight
    radius: height / 2
    color: Qt.rgba(0.12, 0.12, 0.14, 0.92)
    border.color: Qt.rgba(1, 1, 1, 0.15)
    border.width: 1
    Accessible.role: Accessible.ToolBar
    Accessible.name: "Vantrel Control Bar"

    // Dragging by the surface; the window manager moves the window when there is one.
    MouseArea {
        anchors.fill: parent
        property bool manual: false
        property point last
        onPressed: (mouse) => {
            manual = !bar.beginSystemMove();
            last = mapToGlobal(mouse.x, mouse.y);
        }
        onPositionChanged: (mouse) => {
            if (!manual) return;
            const point = mapToGlobal(mouse.x, mouse.y);
            bar.moveBy(point.x - last.x, point.y - last.y);
            last = point;
        }
    }

    component Divider: Rectangle { width: 1; height: 16; color: Qt.rgba(1, 1, 1, 0.3) }

    Item {
        id: content
        x: 16
        y: 10
        implicitWidth: current.implicitWidth
        implicitHeight: Math.max(24, current.implicitHeight)
        readonly property Item current: bar.layout === "countdown" ? countdownRow
                                       : bar.layout === "standby" ? standbyRow : recordingRow

        Row {
            id: countdownRow
            visible: bar.layout === "countdown"
            spacing: 16
            anchors.verticalCenter: parent.verticalCenter
            BarButton {
                anchors.verticalCenter: parent.verticalCenter
                symbol: "xmark"; symbolSize: 16; symbolColor: Qt.rgba(1, 1, 1, 0.7)
                tip: qsTr("Cancel")
                onClicked: bar.cancelCountdownPressed()
            }
            Divider { anchors.verticalCenter: parent.verticalCenter }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: bar.countdownRemaining
                font.bold: true; font.pixelSize: 22; color: capsule.red
                width: Math.max(24, implicitWidth)
                horizontalAlignment: Text.AlignHCenter
                Accessible.name: text
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                text: qsTr("Recording starts...")
                font.weight: Font.Medium; font.pixelSize: 13; color: Qt.rgba(1, 1, 1, 0.8)
            }
        }

        Row {
            id: standbyRow
            visible: bar.layout === "standby"
            spacing: 16
            anchors.verticalCenter: parent.verticalCenter
            BarButton {
                anchors.verticalCenter: parent.verticalCenter
                symbol: "xmark"; symbolSize: 16; symbolColor: Qt.rgba(1, 1, 1, 0.7)
                tip: qsTr("Cancel Recording")
                onClicked: bar.cancelStandbyPressed()
            }
            Divider { anchors.verticalCenter: parent.verticalCenter }
            Row {
                anchors.verticalCenter: parent.verticalCenter
                BarButton {
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: bar.isWebcamEnabled ? "video" : "video-off"
                    symbolColor: bar.isWebcamEnabled ? "white" : capsule.dim
                    tip: bar.isWebcamEnabled ? qsTr("Turn off webcam\n(Shows your camera feed on screen)")
                                             : qsTr("Turn on webcam\n(Shows your camera feed on screen)")
                    onClicked: bar.isWebcamEnabled = !bar.isWebcamEnabled
                }
                DeviceMenu { anchors.verticalCenter: parent.verticalCenter; kind: "camera"; tip: qsTr("Select Webcam Device") }
            }
            Row {
                anchors.verticalCenter: parent.verticalCenter
                BarButton {
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: bar.isMicMuted ? "mic-off" : "mic"
                    symbolColor: bar.isMicMuted ? capsule.red : "white"
                    tip: bar.isMicMuted ? qsTr("Turn on microphone\n(Records your voice and external audio)")
                                        : qsTr("Mute microphone\n(Records your voice and external audio)")
                    onClicked: bar.isMicMuted = !bar.isMicMuted
                }
                DeviceMenu { anchors.verticalCenter: parent.verticalCenter; kind: "microphone"; tip: qsTr("Select Microphone Device") }
            }
            BarButton {
                anchors.verticalCenter: parent.verticalCenter
                symbol: settings.enableSystemAudio ? "speaker" : "speaker-off"
                symbolColor: settings.enableSystemAudio ? "white" : capsule.dim
                tip: settings.enableSystemAudio ? qsTr("Turn off system audio\n(Records sounds playing on your computer)")
                                                : qsTr("Turn on system audio\n(Records sounds playing on your computer)")
                onClicked: settings.enableSystemAudio = !settings.enableSystemAudio
            }
            BarButton {
                anchors.verticalCenter: parent.verticalCenter
                symbol: settings.showKeystrokes ? "keyboard" : "keyboard-outline"
                symbolColor: settings.showKeystrokes ? "white" : capsule.dim
                tip: settings.showKeystrokes ? qsTr("Hide keystrokes\n(Displays typed keys on screen)")
                                             : qsTr("Show keystrokes\n(Displays typed keys on screen)")
                onClicked: settings.showKeystrokes = !settings.showKeystrokes
            }
            BarButton {
                anchors.verticalCenter: parent.verticalCenter
                symbol: settings.showMouseClicks ? "cursor-rays" : "cursor"
                symbolColor: settings.showMouseClicks ? "white" : capsule.dim
                tip: settings.showMouseClicks ? qsTr("Hide mouse clicks\n(Highlights mouse clicks with effects)")
                                              : qsTr("Show mouse clicks\n(Highlights mouse clicks with effects)")
                onClicked: settings.showMouseClicks = !settings.showMouseClicks
            }
            Divider { anchors.verticalCenter: parent.verticalCenter }
            AbstractButton {
                id: startButton
                anchors.verticalCenter: parent.verticalCenter
                focusPolicy: Qt.NoFocus
                hoverEnabled: true
                Accessible.role: Accessible.Button
                Accessible.name: qsTr("Start Recording")
                implicitWidth: startRow.implicitWidth + 28
                implicitHeight: startRow.implicitHeight + 16
                background: Rectangle {
                    radius: height / 2
                    color: Qt.rgba(1, 0.23, 0.19, 0.15)
                    border.color: capsule.red
                    border.width: 1.5
                }
                contentItem: Item {
                    Row {
                        id: startRow
                        anchors.centerIn: parent
                        spacing: 6
                        Rectangle { width: 8; height: 8; radius: 4; color: capsule.red; anchors.verticalCenter: parent.verticalCenter }
                        Text { text: qsTr("Start Recording"); font.bold: true; font.pixelSize: 13; color: "white" }
                    }
                }
                onHoveredChanged: {
                    if (hovered) { const p = mapToGlobal(0, height + 6); bar.showTip(qsTr("Start recording"), p.x, p.y); }
                    else bar.hideTip();
                }
                onClicked: bar.startPressed()
            }
        }

        Row {
            id: recordingRow
            visible: bar.layout === "recording"
            spacing: 14
            anchors.verticalCenter: parent.verticalCenter
            Rectangle {
                anchors.verticalCenter: parent.verticalCenter
                width: 10; height: 10; radius: 5; color: capsule.red
                SequentialAnimation on opacity {
                    running: recordingRow.visible
                    loops: Animation.Infinite
                    NumberAnimation { to: 0.3; duration: 600; easing.type: Easing.InOutQuad }
                    NumberAnimation { to: 1.0; duration: 600; easing.type: Easing.InOutQuad }
                }
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                width: 52
                text: bar.elapsedText
                font.weight: Font.DemiBold; font.pixelSize: 14; color: "white"
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            Divider { anchors.verticalCenter: parent.verticalCenter }
            Row {
                anchors.verticalCenter: parent.verticalCenter
                BarButton {
                    anchors.verticalCenter: parent.verticalCenter
                    symbol: bar.isMicMuted ? "mic-off" : "mic"
                    symbolColor: bar.isMicMuted ? capsule.red : "white"
                    tip: bar.isMicMuted ? qsTr("Turn on microphone\n(Records your voice and external audio)")
                                        : qsTr("Mute microphone\n(Records your voice and external audio)")
                    onClicked: bar.isMicMuted = !bar.isMicMuted
                }
                DeviceMenu { anchors.verticalCenter: parent.verticalCenter; kind: "microphone"; tip: qsTr("Select Microphone Device") }
            }
            BarButton {
                anchors.verticalCenter: parent.verticalCenter
                enabled: false
                symbolSize: 13
                symbol: bar.systemAudioIndicator ? "speaker" : "speaker-off"
                symbolColor: bar.systemAudioIndicator ? "white" : capsule.faint
                tip: qsTr("Cannot change audio settings during recording.\nStop and restart to apply changes.")
            }
            BarButton {
                anchors.verticalCenter: parent.verticalCenter
                enabled: false
                symbolSize: 13
                symbol: bar.keystrokesIndicator ? "keyboard" : "keyboard-outline"
                symbolColor: bar.keystrokesIndicator ? "white" : capsule.faint
                tip: qsTr("Cannot change overlay settings during recording.\nStop and restart to apply changes.")
            }
            BarButton {
                anchors.verticalCenter: parent.verticalCenter
                enabled: false
                symbolSize: 13
                symbol: bar.mouseClicksIndicator ? "cursor-rays" : "cursor"
                symbolColor: bar.mouseClicksIndicator ? "white" : capsule.faint
                tip: qsTr("Cannot change overlay settings during recording.\nStop and restart to apply changes.")
            }
            BarButton {
                anchors.verticalCenter: parent.verticalCenter
                symbolSize: 13
                symbol: bar.isPaused ? "play" : "pause"
                tip: bar.isPaused ? qsTr("Resume recording") : qsTr("Pause recording")
                onClicked: bar.pausePressed()
            }
            BarButton {
                anchors.verticalCenter: parent.verticalCenter
                symbolSize: 13
                symbol: "stop"
                inset: 5
                fill: Qt.rgba(1, 0.23, 0.19, 0.8)
                tip: qsTr("Stop recording")
                onClicked: bar.stopPressed()
            }
        }
    }
}
