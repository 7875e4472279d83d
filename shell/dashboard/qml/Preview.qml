// The webcam preview (or "CAMERA OFFLINE"), with the demo panel over it
// while the pointer is on a tile.
import QtQuick
import Vantrel.Dashboard

Rectangle {
    id: preview
    radius: 16
    color: Qt.rgba(0, 0, 0, 0.6)
    clip: true

    Column {
        objectName: "cameraOffline"
        anchors.centerIn: parent
        spacing: 14
        visible: !dashboard.settings.showWebcam
        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            name: "camera.viewfinder"
            size: 56
            weight: 0.6
            color: Qt.rgba(1, 1, 1, 0.3)
        }
        Text {
            text: "CAMERA OFFLINE"
            font.pixelSize: 14
            font.bold: true
            font.letterSpacing: 2.5
            color: Qt.rgba(1, 1, 1, 0.4)
        }
    }
    FinderCorners {
        anchors.fill: parent
        visible: !dashboard.settings.showWebcam
    }

    CameraPreviewItem {
        objectName: "cameraPreview"
        anchors.fill: parent
        opacity: dashboard.settings.showWebcam ? 1 : 0
        visible: opacity > 0
        Behavior on opacity { NumberAnimation { duration: 300 } }
        Accessible.name: "Webcam preview"
        Accessible.role: Accessible.Graphic
    }

    Item {
        id: panel
        objectName: "demoPanel"
        anchors.fill: parent
        opacity: 0
        visible: opacity > 0
        states: State {
            name: "shown"
            when: dashboard.isShowingDemo
            PropertyChanges { target: panel; opacity: 1 }
        }
        transitions: [
            Transition { to: "shown"; NumberAnimation { property: "opacity"; duration: 300; easing.type: Easing.InOutQuad } },
            Transition { from: "shown"; NumberAnimation { property: "opacity"; duration: 400; easing.type: Easing.OutQuad } }
        ]

        Rectangle { anchors.fill: parent; color: Qt.rgba(0.09, 0.09, 0.12, 0.92) }

        DemoVideoItem {
            objectName: "demoVideo"
            anchors.fill: parent
            player: dashboard.demoPlayer
            opacity: 0.9
            visible: dashboard.hasDemoPlayer
            Accessible.name: dashboard.demoTitle
            Accessible.role: Accessible.Animation
        }

        Column {   // no video: the feature's symbol and what it does
            anchors.centerIn: parent
            anchors.verticalCenterOffset: -18
            width: parent.width - 64
            spacing: 14
            visible: !dashboard.hasDemoPlayer
            Symbol {
                id: demoSymbol
                anchors.horizontalCenter: parent.horizontalCenter
                width: 72; height: 72
                size: 56
                name: dashboard.demoIcon
                gradient: true
                topColor: Qt.rgba(0.35, 0.7, 1, 1)
                bottomColor: Qt.rgba(0.3, 0.35, 1, 1)
                SequentialAnimation on opacity {
                    running: panel.visible && !dashboard.hasDemoPlayer
                    loops: Animation.Infinite
                    NumberAnimation { to: 0.5; duration: 700; easing.type: Easing.InOutSine }
                    NumberAnimation { to: 1; duration: 700; easing.type: Easing.InOutSine }
                }
            }
            Text {
                width: parent.width
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.WordWrap
                text: dashboard.demoDescription
                font.pixelSize: 13
                font.letterSpacing: 0.3
                color: Qt.rgba(1, 1, 1, 0.85)
            }
        }

        Rectangle {   // the caption
            anchors.horizontalCenter: parent.horizontalCenter
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 14
            width: caption.implicitWidth + 48
            height: caption.implicitHeight + 24
            radius: height / 2
            color: Qt.rgba(0, 0, 0, 0.45)
            border.color: Qt.rgba(1, 1, 1, 0.25)
            border.width: 0.5
            Text {
                id: caption
                anchors.centerIn: parent
                text: dashboard.demoTitle
                font.pixelSize: 13
                font.letterSpacing: 1.5
                color: "white"
            }
        }
    }

    // Rounded corners for the pictures too (an item's clip is square): the
    // window's colour outside the rounded frame.
    Canvas {
        anchors.fill: parent
        onWidthChanged: requestPaint()
        onPaint: {
            const c = getContext("2d");
            c.reset();
            c.fillStyle = Qt.rgba(0.03, 0.03, 0.05, 1);
            c.fillRect(0, 0, width, height);
            c.globalCompositeOperation = "destination-out";
            c.beginPath();
            c.roundedRect(0, 0, width, height, preview.radius, preview.radius);
            c.fill();
        }
    }

    GradientStroke {
        anchors.fill: parent
        radius: preview.radius
        vertical: true
        fromColor: Qt.rgba(1, 1, 1, 0.25)
        toColor: Qt.rgba(1, 1, 1, 0.05)
    }
}
