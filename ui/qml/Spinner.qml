import QtQuick
import "."

// Turns for as long as it can be seen.
Item {
    id: spinner

    property real size: 28

    Accessible.role: Accessible.ProgressBar

    Repeater {
        model: 12
        Rectangle {
            required property int index
            readonly property real age: (index - turn.step + 12) % 12
            width: Math.max(2, spinner.size / 14)
            height: spinner.size / 4
            radius: width / 2
            antialiasing: true
            color: Theme.secondary
            opacity: 0.15 + 0.85 * age / 11
            x: spinner.width / 2 - width / 2
            y: spinner.height / 2 - spinner.size / 2
            transform: Rotation {
                origin.x: spinner.size / 28
                origin.y: spinner.size / 2
                angle: index * 30
            }
        }
    }
    // Twelve steps a second are enough, and cost less than a smooth turn.
    Timer {
        id: turn
        property int step: 0
        interval: 83
        repeat: true
        running: spinner.visible && spinner.Window.visibility !== Window.Hidden
        onTriggered: step = (step + 1) % 12
    }
}
