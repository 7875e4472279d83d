// The line between two rows, starting under the labels.
import QtQuick
import QtQuick.Layouts

Rectangle {
    Layout.fillWidth: true
    Layout.leftMargin: 56
    implicitHeight: 1
    color: Qt.rgba(1, 1, 1, 0.08)
}
