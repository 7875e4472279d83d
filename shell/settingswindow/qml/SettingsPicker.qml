// A row's picker, 140 wide unless said otherwise; its row's label is its accessible name.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

ComboBox {
    property string name
    Layout.preferredWidth: 140
    implicitHeight: 28
    font.pixelSize: 12
    Accessible.name: name
}
