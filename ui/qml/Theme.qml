pragma Singleton
import QtQuick

// Colours and text sizes. Follows the desktop's light or dark scheme and its font: the sizes are
// those of a 10 pt system font at 96 dpi and grow with a larger one.
QtObject {
    readonly property bool dark: appearance.dark
    readonly property real textScale: appearance.textScale

    readonly property color window: dark ? "#28292d" : "#f7f7f9"
    readonly property color control: dark ? "#3a3b41" : "#ffffff"
    readonly property color controlHover: dark ? "#44464d" : "#f0f1f4"
    readonly property color controlPressed: dark ? "#303136" : "#e2e4e9"
    readonly property color outline: dark ? "#55575f" : "#c9cbd2"
    readonly property color divider: dark ? "#3f4147" : "#dedfe4"
    readonly property color text: dark ? "#f2f2f4" : "#1c1d21"
    readonly property color secondary: dark ? "#aeb0b8" : "#5f626b"
    readonly property color quaternary: dark ? "#4b4d55" : "#d5d7dd"
    readonly property color accent: dark ? "#7aa7ff" : "#2f5fd0"
    readonly property color accentText: dark ? "#10131a" : "#ffffff"
    readonly property color green: dark ? "#4fcf70" : "#1f9d45"
    readonly property color red: dark ? "#ff7a70" : "#c9302c"

    readonly property real callout: Math.round(13 * textScale)
    readonly property real caption: Math.round(11 * textScale)
    readonly property real caption2: Math.round(11 * textScale)
    readonly property real title3: Math.round(16 * textScale)
    // A size that was given in points of its own.
    function sized(points) { return Math.round(points * textScale); }
}
