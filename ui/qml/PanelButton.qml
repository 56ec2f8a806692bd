import QtQuick
import QtQuick.Templates as T
import "."

// A push button. Its label wraps when the panel is too narrow for it.
T.Button {
    id: button

    property real textSize: Theme.callout
    property string symbol
    property color textColor: isDefault ? Theme.accentText : Theme.text
    // Return presses it wherever the keyboard is; drawn in the accent colour.
    property bool isDefault: false

    implicitWidth: leftPadding + content.implicitWidth + rightPadding
    implicitHeight: topPadding + content.implicitHeight + bottomPadding
    horizontalPadding: Math.round(textSize * 0.8)
    verticalPadding: Math.round(textSize * 0.35)
    focusPolicy: Qt.StrongFocus
    hoverEnabled: true
    Accessible.name: text
    Accessible.role: Accessible.Button
    Accessible.onPressAction: clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    contentItem: Row {
        id: content
        spacing: Math.round(button.textSize * 0.5)

        Symbol {
            visible: button.symbol !== ""
            name: button.symbol
            size: Math.round(button.textSize * 1.2)
            tint: button.textColor
            anchors.verticalCenter: parent.verticalCenter
        }
        Text {
            text: button.text
            textFormat: Text.PlainText
            color: button.textColor
            font.pixelSize: button.textSize
            anchors.verticalCenter: parent.verticalCenter
        }
    }

    background: Rectangle {
        radius: 6
        color: button.isDefault ? Qt.darker(Theme.accent, button.down ? 1.25 : button.hovered ? 1.1 : 1)
                                : button.down ? Theme.controlPressed
                                              : button.hovered ? Theme.controlHover : Theme.control
        border.width: button.isDefault ? 0 : 1
        border.color: Theme.outline
        FocusRing { control: button }
    }
}
