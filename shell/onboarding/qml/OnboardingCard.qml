// One page's card: 440 by 380, frosted, a fading outline and a soft shadow.
import QtQuick

Item {
    width: 440
    height: 380
    default property alias content: inner.data

    Rectangle { // the shadow, black 0.3 a little below the card
        anchors.fill: card
        anchors.topMargin: 15
        anchors.bottomMargin: -15
        radius: 32
        color: Qt.rgba(0, 0, 0, 0.3)
        opacity: 0.6
    }
    Rectangle {
        id: card
        anchors.fill: parent
        radius: 32
        color: Qt.rgba(1, 1, 1, 0.07)
        border.width: 1
        border.color: Qt.rgba(1, 1, 1, 0.25)
    }
    Item {
        id: inner
        anchors.fill: parent
        anchors.margins: 40
    }
}
