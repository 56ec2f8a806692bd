import QtQuick
import QtQuick.Templates as T
import "."

// A label with a triangle that folds out what belongs to it.
T.AbstractButton {
    id: disclosure

    implicitWidth: label.x + label.implicitWidth + 4
    implicitHeight: label.implicitHeight
    checkable: true
    focusPolicy: Qt.StrongFocus
    Accessible.name: text
    Accessible.role: Accessible.Button
    Accessible.checkable: true
    Accessible.checked: checked
    Accessible.onPressAction: toggle()
    Keys.onReturnPressed: toggle()
    Keys.onEnterPressed: toggle()

    contentItem: Item {
        Symbol {
            id: triangle
            name: "chevron.right"
            size: Math.round(Theme.caption * 0.9)
            tint: Theme.secondary
            y: Math.round((label.height - height) / 2)
            rotation: disclosure.checked ? 90 : 0
        }
        Text {
            id: label
            x: triangle.width + 5
            text: disclosure.text
            textFormat: Text.PlainText
            color: Theme.secondary
            font.pixelSize: Theme.caption
        }
        FocusRing { control: disclosure }
    }
}
