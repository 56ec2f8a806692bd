import QtQuick
import "."

// Shows where the keyboard is: around the control it is put into.
Rectangle {
    property Item control: parent
    property real gap: 2

    anchors.fill: parent
    anchors.margins: -gap
    visible: control.visualFocus !== undefined ? control.visualFocus : control.activeFocus
    radius: gap + (parent.radius !== undefined ? parent.radius : 5)
    color: "transparent"
    border.width: 2
    border.color: Theme.accent
}
