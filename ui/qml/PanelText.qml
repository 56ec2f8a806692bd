import QtQuick
import "."

// A text that wraps rather than being cut off.
Text {
    color: Theme.text
    font.pixelSize: Theme.callout
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
