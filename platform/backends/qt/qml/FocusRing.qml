import QtQuick

// Around the element that has the keyboard's focus: beside its text, which is as wide as the element, and clear of the
// edges of a bar, which is as high.
Item {
    id: ring

    z: 900

    Rectangle {
        anchors.fill: parent
        anchors.leftMargin: -7
        anchors.rightMargin: -7
        anchors.topMargin: 5
        anchors.bottomMargin: 5
        color: "transparent"
        radius: 8
        border.width: 3
        border.color: "#b3007aff"
    }
}
