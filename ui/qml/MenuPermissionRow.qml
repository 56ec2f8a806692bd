import QtQuick
import "."

// A permission in the menu; shrinks to its mark and title when granted.
Row {
    id: row

    property var content
    signal allow()

    spacing: 6

    Symbol {
        name: row.content.symbol
        size: Theme.callout
        tint: row.content.granted ? Theme.green : Theme.secondary
        y: Math.round((title.height - height) / 2)
    }
    Column {
        width: row.width - Theme.callout - row.spacing
        spacing: 1

        PanelText {
            id: title
            width: parent.width
            text: row.content.title
        }
        PanelText {
            visible: !row.content.granted
            width: parent.width
            text: row.content.reason
            font.pixelSize: Theme.caption2
            color: Theme.secondary
        }
        Item {
            visible: row.content.allow !== ""
            width: 1
            height: allow.height + 3
            PanelButton {
                id: allow
                y: 3
                text: row.content.allow
                textSize: Theme.caption
                Accessible.description: row.content.title
                onClicked: row.allow()
            }
        }
    }
}
