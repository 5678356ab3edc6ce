import QtQuick

// Around the element that has the keyboard's focus.
Item {
    id: ring

    z: 900

    Rectangle {
        anchors.fill: parent
        anchors.margins: 1
        color: "transparent"
        radius: 8
        border.width: 3
        border.color: "#b3007aff"
    }
}
