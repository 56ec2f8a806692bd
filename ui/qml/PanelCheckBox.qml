import QtQuick
import QtQuick.Templates as T
import "."

T.CheckBox {
    id: box

    readonly property real boxSize: Math.round(Theme.callout * 1.15)

    implicitWidth: indicator.width + spacing + contentItem.implicitWidth
    implicitHeight: Math.max(boxSize, contentItem.implicitHeight)
    spacing: 7
    focusPolicy: Qt.StrongFocus
    Accessible.name: text
    Accessible.role: Accessible.CheckBox
    Accessible.checkable: true
    Accessible.checked: checked
    Accessible.onToggleAction: { toggle(); toggled(); }

    indicator: Rectangle {
        width: box.boxSize
        height: box.boxSize
        y: Math.round((box.height - height) / 2)
        radius: 4
        color: box.checked ? Theme.accent : Theme.control
        border.width: box.checked ? 0 : 1
        border.color: Theme.outline
        Symbol {
            anchors.centerIn: parent
            visible: box.checked
            name: "checkmark"
            size: Math.round(box.boxSize * 0.72)
            tint: Theme.accentText
        }
        FocusRing { control: box }
    }
    contentItem: Text {
        leftPadding: box.boxSize + box.spacing
        text: box.text
        textFormat: Text.PlainText
        color: Theme.text
        font.pixelSize: Theme.callout
        verticalAlignment: Text.AlignVCenter
    }
}
