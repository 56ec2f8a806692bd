import QtQuick
import QtQuick.Templates as T
import "."

T.TextField {
    id: field

    implicitHeight: contentHeight + topPadding + bottomPadding
    font.pixelSize: Theme.caption
    color: Theme.text
    selectionColor: Theme.accent
    selectedTextColor: Theme.accentText
    placeholderTextColor: Theme.secondary
    leftPadding: 7
    rightPadding: 7
    topPadding: 4
    bottomPadding: 4
    selectByMouse: true
    inputMethodHints: Qt.ImhUrlCharactersOnly | Qt.ImhNoPredictiveText
    Accessible.role: Accessible.EditableText
    Accessible.editable: true

    background: Rectangle {
        radius: 6
        color: Theme.control
        border.width: 1
        border.color: Theme.outline
        FocusRing { control: field; visible: field.activeFocus }
    }

    Text {
        x: field.leftPadding
        y: field.topPadding
        visible: field.text === "" && field.preeditText === ""
        text: field.placeholderText
        textFormat: Text.PlainText
        color: field.placeholderTextColor
        font: field.font
    }
}
