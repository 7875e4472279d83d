// A plain button of the bar: a symbol, its tool-tip in a window of its own,
// and the tool-tip's first line as its name on the accessibility bus.
import QtQuick
import QtQuick.Controls.Basic

AbstractButton {
    id: button
    property string symbol: ""
    property color symbolColor: "white"
    property real symbolSize: 15
    property string tip: ""
    property color fill: "transparent"
    property real inset: 0
    implicitWidth: symbolView.implicitWidth + inset * 2
    implicitHeight: symbolView.implicitHeight + inset * 2
    focusPolicy: Qt.NoFocus
    hoverEnabled: true
    Accessible.role: Accessible.Button
    Accessible.name: tip.split("\n")[0]

    background: Rectangle { radius: width / 2; color: button.fill }
    contentItem: Item {
        BarIcon {
            id: symbolView
            anchors.centerIn: parent
            name: button.symbol
            color: button.symbolColor
            size: button.symbolSize
        }
    }
    onHoveredChanged: {
        if (hovered && tip.length > 0) {
            const point = button.mapToGlobal(0, button.height + 6);
            bar.showTip(tip, point.x, point.y);
        } else {
            bar.hideTip();
        }
    }
}
