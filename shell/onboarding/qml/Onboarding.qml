// The first-run pages. Binds to `onboarding` (OnboardingViewModel) and
// forwards clicks; every decision is the model's.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

Rectangle {
    id: root
    width: 580
    height: 500
    color: "#0b0b12"

    readonly property real pageDuration: 1400

    AuroraBackground { anchors.fill: parent }

    Item {
        id: column
        anchors.fill: parent
        opacity: onboarding.isContentVisible ? 1 : 0
        transform: Translate { y: onboarding.isContentVisible ? 0 : 20 }
        Behavior on opacity { NumberAnimation { duration: 800; easing.type: Easing.OutCubic } }

        Item {
            id: strip
            anchors { left: parent.left; right: parent.right; top: parent.top; bottom: dots.top }
            clip: true
            Row {
                x: -onboarding.currentPage * strip.width
                Behavior on x { NumberAnimation { duration: root.pageDuration; easing.type: Easing.InOutQuad } }
                Repeater {
                    model: 4
                    delegate: Item {
                        width: strip.width
                        height: strip.height
                        opacity: onboarding.currentPage === index ? 1 : 0
                        Behavior on opacity { NumberAnimation { duration: root.pageDuration; easing.type: Easing.InOutQuad } }
                        OnboardingCard {
                            anchors.centerIn: parent
                            Loader {
                                anchors.fill: parent
                                sourceComponent: index === 0 ? welcome : index === 3 ? completion : permission
                                property int pageIndex: index
                            }
                        }
                    }
                }
            }
        }

        Row {
            id: dots
            anchors { horizontalCenter: parent.horizontalCenter; bottom: parent.bottom; bottomMargin: 32 }
            spacing: 12
            Repeater {
                model: 4
                delegate: Rectangle {
                    height: 8
                    radius: 4
                    width: onboarding.currentPage === index ? 24 : 8
                    color: Qt.rgba(1, 1, 1, onboarding.currentPage === index ? 1 : 0.3)
                    Behavior on width { SpringAnimation { spring: 4; damping: 0.7 } }
                }
            }
        }
    }

    Component {
        id: welcome
        ColumnLayout {
            spacing: 20
            Image {
                Layout.alignment: Qt.AlignHCenter
                source: "qrc:/vantrel/icons/app.vantrel.Vantrel.svg"
                sourceSize: Qt.size(96, 96)
            }
            Label { Layout.alignment: Qt.AlignHCenter; text: "Vantrel"; font.pixelSize: 34; font.bold: true; color: "white" }
            Label {
                Layout.alignment: Qt.AlignHCenter
                horizontalAlignment: Text.AlignHCenter
                text: qsTr("Create Pro-Quality Tutorial Videos\nWith Zero Editing")
                font.pixelSize: 20
                color: Qt.rgba(1, 1, 1, 0.6)
            }
            Item { Layout.preferredHeight: 8 }
            ProminentButton {
                Layout.alignment: Qt.AlignHCenter
                text: qsTr("Start Setup")
                onClicked: onboarding.currentPage = 1
            }
        }
    }

    Component {
        id: permission
        PermissionPage {
            index: pageIndex
            symbol: pageIndex === 1 ? "◉" : "♿"
            colors: pageIndex === 1 ? ["orange", "red"] : ["#3b82f6", "cyan"]
            title: pageIndex === 1 ? qsTr("Screen Recording Permission") : qsTr("Accessibility Permission")
            description: pageIndex === 1 ? qsTr("Screen recording permission is required\nto record your screen.")
                                         : qsTr("Required for automatic zoom and\ndisplaying shortcut keys.")
            isGranted: pageIndex === 1 ? onboarding.hasScreenRecordingPermission : onboarding.hasAccessibilityPermission
        }
    }

    Component {
        id: completion
        ColumnLayout {
            spacing: 10
            Label {
                Layout.alignment: Qt.AlignHCenter
                text: "✦"
                font.pixelSize: 56
                color: "orange"
                SequentialAnimation on opacity {
                    running: onboarding.currentPage === 3
                    loops: Animation.Infinite
                    NumberAnimation { to: 0.45; duration: 900; easing.type: Easing.InOutSine }
                    NumberAnimation { to: 1; duration: 900; easing.type: Easing.InOutSine }
                }
            }
            Label { Layout.alignment: Qt.AlignHCenter; text: qsTr("Ready to Go!"); font.pixelSize: 32; font.bold: true; color: "white" }
            Label {
                Layout.alignment: Qt.AlignHCenter
                horizontalAlignment: Text.AlignHCenter
                text: qsTr("All setup is complete.\nYou can start recording from\nthe menu bar icon.")
                font.pixelSize: 14
                color: Qt.rgba(1, 1, 1, 0.6)
            }
            Item { Layout.preferredHeight: 6 }
            ProminentButton {
                Layout.alignment: Qt.AlignHCenter
                text: qsTr("Start Vantrel")
                onClicked: onboarding.startVantrel()
            }
            PlainButton {
                Layout.alignment: Qt.AlignHCenter
                text: qsTr("Back")
                onClicked: onboarding.currentPage = 2
            }
        }
    }
}
