import QtQuick
import "."

// The PIN, its characters two spaces apart. They keep their places while one PIN rolls into the
// next; they shrink together where the font is too wide for the window.
Item {
    id: pin

    property string text
    readonly property var characters: text === "" ? [] : text.split("  ")
    readonly property real kerning: 2

    readonly property real naturalSize: Theme.sized(40)
    // Widths go with the size.
    readonly property real naturalWidth:
        characters.length * digitMetrics.advanceWidth
        + Math.max(0, characters.length - 1) * (spaceMetrics.advanceWidth + 2 * kerning)
    readonly property real pixelSize:
        Math.max(1, Math.floor(naturalSize * Math.min(1, naturalWidth > 0 ? width / naturalWidth : 1)))
    readonly property real fitted: pixelSize / naturalSize
    readonly property font pinFont: Qt.font({ pixelSize: pixelSize, weight: Font.DemiBold,
                                              family: Qt.application.font.family })

    implicitHeight: digits.height
    Accessible.role: Accessible.StaticText
    Accessible.name: characters.join(" ")

    TextMetrics { id: digitMetrics; text: "0"; font.pixelSize: pin.naturalSize; font.weight: Font.DemiBold }
    TextMetrics { id: spaceMetrics; text: "  "; font.pixelSize: pin.naturalSize; font.weight: Font.DemiBold }

    Row {
        id: digits
        anchors.horizontalCenter: parent.horizontalCenter
        spacing: Math.floor((spaceMetrics.advanceWidth + 2 * pin.kerning) * pin.fitted)

        Repeater {
            model: pin.characters.length
            PinDigit {
                required property int index
                width: Math.ceil(digitMetrics.advanceWidth * pin.fitted)
                height: implicitHeight
                font: pin.pinFont
                value: pin.characters[index]
            }
        }
    }
}
