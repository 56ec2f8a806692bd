import QtQuick
import "."

// A symbol in one colour, drawn at the size of its box.
Image {
    property string name
    property color tint: Theme.text
    property real size: Theme.callout

    width: size
    height: size
    // One pixel of the picture for one of the screen, whatever its scale.
    sourceSize: Qt.size(size, size)
    source: name === "" ? "" : "image://symbols/" + name + "?" + tint
    Accessible.ignored: true
}
