// A card of rows: a rounded plate with a faint outline and an optional title.
import QtQuick
import QtQuick.Layouts

Rectangle {
    property string title
    default property alias rows: body.data

    Layout.fillWidth: true
    implicitHeight: column.implicitHeight
    radius: 12
    color: "#2c2c2e"
    border.width: 1
    border.color: Qt.rgba(1, 1, 1, 0.07)

    ColumnLayout {
        id: column
        width: parent.width
        spacing: 0
        Text {
            visible: title !== ""
            text: title
            font.pixelSize: 11
            font.weight: Font.DemiBold
            color: "#98989d"
            leftPadding: 16; rightPadding: 16; topPadding: 14; bottomPadding: 8
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        ColumnLayout {
            id: body
            Layout.fillWidth: true
            spacing: 0
        }
    }
}
