import QtQuick
import "."

// One character of the PIN. A new one rolls in from below, as a counter does.
Item {
    id: digit

    property string value
    property font font
    readonly property bool rolling: roll.running

    implicitHeight: current.implicitHeight
    clip: true
    onValueChanged: {
        previous.text = current.text;
        current.text = value;
        if (previous.text !== "" && visible) roll.restart();
    }

    Text {
        id: current
        width: parent.width
        horizontalAlignment: Text.AlignHCenter
        textFormat: Text.PlainText
        font: digit.font
        color: Theme.text
    }
    Text {
        id: previous
        width: parent.width
        horizontalAlignment: Text.AlignHCenter
        textFormat: Text.PlainText
        font: digit.font
        color: Theme.text
        visible: roll.running
    }
    ParallelAnimation {
        id: roll
        NumberAnimation { target: current; property: "y"; from: digit.height; to: 0; duration: 260; easing.type: Easing.OutCubic }
        NumberAnimation { target: previous; property: "y"; from: 0; to: -digit.height; duration: 260; easing.type: Easing.OutCubic }
        NumberAnimation { target: previous; property: "opacity"; from: 1; to: 0; duration: 200 }
        NumberAnimation { target: current; property: "opacity"; from: 0; to: 1; duration: 200 }
    }
}
