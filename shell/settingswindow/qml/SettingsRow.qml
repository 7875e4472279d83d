// A row of a card: the symbol on a coloured square, the label (and a second
// line), and the control on the right.
import QtQuick
import QtQuick.Layouts

Item {
    id: row
    property string symbol
    property color iconColor
    property string label
    property string detail
    default property alias control: slot.data

    Layout.fillWidth: true
    implicitHeight: Math.max(28, texts.implicitHeight, slot.implicitHeight) + 18

    RowLayout {
        anchors { fill: parent; leftMargin: 16; rightMargin: 16 }
        spacing: 12
        Rectangle {
            width: 28; height: 28; radius: 7
            color: row.iconColor
            Text {
                anchors.centerIn: parent
                text: row.symbol
                font.pixelSize: 15
                color: "white"
            }
        }
        ColumnLayout {
            id: texts
            spacing: 2
            Text { text: row.label; font.pixelSize: 13; color: "white" }
            Text { visible: row.detail !== ""; text: row.detail; font.pixelSize: 11; color: "#98989d" }
        }
        Item { Layout.fillWidth: true }
        RowLayout { id: slot }
    }
}
