import QtQuick

// Around the element that has the keyboard's focus.
Rectangle {
    z: 900
    color: "transparent"
    border.width: 3
    border.color: "#b3007aff"
}
