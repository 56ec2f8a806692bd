import QtQuick
import "."

Rectangle {
    height: 1
    color: Theme.divider
}
