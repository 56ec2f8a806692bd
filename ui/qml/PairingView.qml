import QtQuick
import "."

// The pairing window's content: one of three steps. `panel` carries what is shown (`content`) and
// takes what is pressed.
Rectangle {
    id: root

    required property var panel
    readonly property var content: panel.content
    readonly property bool done: content.step === "done"

    width: 340
    // Larger only where the desktop's font asks for it.
    height: Math.max(470, steps.implicitHeight + 48)
    color: Theme.window

    Keys.onReturnPressed: pressDefault()
    Keys.onEnterPressed: pressDefault()
    function pressDefault() {
        if (content.closeIsDefault) panel.press("close");
    }

    // The window has no frame to hold it by but the title bar; its background serves as well.
    MouseArea {
        anchors.fill: parent
        onPressed: root.panel.press("drag")
    }

    Column {
        id: steps
        x: 24
        width: parent.width - 48
        anchors.verticalCenter: parent.verticalCenter
        spacing: 18

        Symbol {
            anchors.horizontalCenter: parent.horizontalCenter
            name: root.content.symbol
            size: Theme.sized(root.done ? 52 : 38)
            tint: root.done ? Theme.green : Theme.accent
        }
        PanelText {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: root.content.title
            font.pixelSize: Theme.title3
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
        }
        PanelText {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: root.content.subtitle
            color: Theme.secondary
        }
        Repeater {
            model: root.content.permissions.length
            PairingPermissionRow {
                required property int index
                width: Math.min(292, steps.width)
                content: root.content.permissions[index]
                onAllow: root.panel.press("allow", content.permission)
            }
        }
        Column {
            visible: root.content.waiting !== ""
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 18
            Spinner {
                anchors.horizontalCenter: parent.horizontalCenter
                width: 144
                height: 144
            }
            PanelText {
                anchors.horizontalCenter: parent.horizontalCenter
                text: root.content.waiting
                color: Theme.secondary
            }
        }
        Item {
            visible: root.content.pinText !== ""
            anchors.horizontalCenter: parent.horizontalCenter
            width: 144
            height: 144
            Rectangle {
                anchors.fill: parent
                radius: 10
                visible: root.content.qrCode !== ""
                color: "white"
            }
            Image {
                id: code
                // Inside the corners' curve, which a camera does not need.
                anchors.fill: parent
                anchors.margins: 3
                source: root.content.qrCode
                smooth: false
                fillMode: Image.Stretch
                Accessible.role: Accessible.Graphic
                Accessible.name: root.content.subtitle
            }
            Rectangle {
                anchors.fill: parent
                radius: 10
                color: "transparent"
                border.width: 1
                border.color: Theme.quaternary
            }
        }
        PinText {
            visible: root.content.pinText !== ""
            width: parent.width
            text: root.content.pinText
        }
        PanelText {
            visible: text !== ""
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: root.content.footnote
            font.pixelSize: Theme.caption
            color: Theme.secondary
        }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 8
            PanelButton {
                visible: root.content.newPin !== ""
                text: root.content.newPin
                onClicked: root.panel.press("newPin")
            }
            PanelButton {
                text: root.content.close
                isDefault: root.content.closeIsDefault
                onClicked: root.panel.press("close")
            }
        }
    }
}
