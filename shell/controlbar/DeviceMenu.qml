// The small chevron beside a device switch that opens the device picker.
import QtQuick

BarButton {
    property string kind: "camera"
    symbol: "chevron"
    symbolSize: 9
    symbolColor: Qt.rgba(1, 1, 1, 0.7)
    onClicked: {
        const point = mapToGlobal(0, height + 4);
        bar.showDeviceMenu(kind, point.x, point.y);
    }
}
