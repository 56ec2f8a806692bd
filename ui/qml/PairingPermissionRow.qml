import QtQuick
import "."

// A permission in the pairing window; its reason stays when it is granted.
Rectangle {
    id: row

    property var content
    signal allow()

    height: Math.max(texts.height, allow.visible ? allow.height : 0) + 20
    radius: 10
    color: Qt.alpha(Theme.quaternary, 0.4)

    Symbol {
        id: mark
        x: 10
        anchors.verticalCenter: parent.verticalCenter
        name: row.content.symbol
        size: Theme.title3 + 4
        tint: row.content.granted ? Theme.green : Theme.secondary
    }
    Column {
        id: texts
        anchors.left: mark.right
        anchors.leftMargin: 10
        anchors.right: allow.visible ? allow.left : parent.right
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        spacing: 1

        PanelText {
            width: parent.width
            text: row.content.title
            font.weight: Font.Medium
        }
        PanelText {
            width: parent.width
            text: row.content.reason
            font.pixelSize: Theme.caption
            color: Theme.secondary
        }
    }
    PanelButton {
        id: allow
        visible: row.content.allow !== ""
        anchors.right: parent.right
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        text: row.content.allow
        Accessible.description: row.content.title
        onClicked: row.allow()
    }
}
