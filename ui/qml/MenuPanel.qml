import QtQuick
import "."

// The menu-bar panel. `panel` carries what is shown (`content`) and takes what is pressed.
Rectangle {
    id: root

    required property var panel
    readonly property var content: panel.content

    width: 260
    height: rows.implicitHeight + 24
    radius: appearance.composited ? 10 : 0
    color: Theme.window
    border.width: 1
    border.color: Theme.outline

    // The panel opens as it was first seen: folded, with no control in focus until Tab is pressed.
    function reset() {
        advanced.checked = false;
        root.forceActiveFocus();
    }

    Column {
        id: rows
        x: 12
        y: 12
        width: parent.width - 24
        spacing: 10

        Row {
            width: parent.width
            spacing: 6
            Rectangle {
                width: 8
                height: 8
                radius: 4
                antialiasing: true
                // Beside the first line of the text, however many there are.
                y: Math.round((status.height / Math.max(1, status.lineCount) - height) / 2)
                color: root.content.viewerConnected ? Theme.green : Theme.secondary
                opacity: root.content.viewerConnected ? 1 : 0.4
            }
            PanelText {
                id: status
                width: parent.width - 14
                text: root.content.status
                Accessible.role: Accessible.StaticText
            }
        }
        PanelButton {
            visible: root.content.disconnectViewer !== ""
            text: root.content.disconnectViewer
            textColor: Theme.red
            onClicked: root.panel.press("disconnectViewer")
        }
        Divider { width: parent.width }
        Repeater {
            model: root.content.permissions.length
            MenuPermissionRow {
                required property int index
                width: rows.width
                content: root.content.permissions[index]
                onAllow: root.panel.press("allow", content.permission)
            }
        }
        Divider { width: parent.width }
        PanelButton {
            text: root.content.connectPhone
            symbol: root.content.connectPhoneSymbol
            onClicked: root.panel.press("connectPhone")
        }
        Column {
            width: parent.width
            spacing: 6

            Disclosure {
                id: advanced
                text: root.content.advanced
            }
            Column {
                visible: advanced.checked
                width: parent.width
                spacing: 4

                PanelTextField {
                    width: parent.width
                    placeholderText: root.content.addressPlaceholder
                    text: root.content.serverURL
                    Accessible.name: root.content.addressPlaceholder
                    onTextEdited: root.panel.press("editServerURL", text)
                    onAccepted: root.panel.press("reconnect")
                }
                PanelButton {
                    text: root.content.reconnect
                    textSize: Theme.caption
                    onClicked: root.panel.press("reconnect")
                }
            }
        }
        Divider { width: parent.width }
        PanelCheckBox {
            text: root.content.startAtLogin
            checked: root.content.launchAtLogin
            onToggled: {
                root.panel.press("setLaunchAtLogin", checked);
                // What the system says, not what was pressed.
                checked = Qt.binding(() => root.content.launchAtLogin);
            }
        }
        PanelButton {
            text: root.content.quit
            onClicked: root.panel.press("quit")
        }
    }
}
