import QtQuick

// Above a timeline's strip: the time of what is held. Lengths in points.
Item {
    id: timeline

    property rect strip
    property string time: ""
    property real timeX: 0           // the middle of the time
    property alias font: digits.font
    property real pixelRatio: 1

    function onPixel(length) {
        return Math.round(length * pixelRatio) / pixelRatio
    }

    Rectangle {
        id: pill

        visible: timeline.time !== ""
        width: timeline.onPixel(row.width + 16)
        height: 24
        x: timeline.onPixel(Math.max(4, Math.min(timeline.width - width - 4, timeline.timeX - width / 2)))
        y: timeline.onPixel(timeline.strip.y - 12 - height)
        radius: height / 2
        color: "#d91c1c1e"

        // Every digit takes the same room, so that the time does not tremble while it runs.
        TextMetrics {
            id: digits
            text: "0"
        }

        Row {
            id: row

            anchors.centerIn: parent

            Repeater {
                model: timeline.time.length

                Text {
                    required property int index
                    readonly property string letter: timeline.time.charAt(index)

                    width: letter >= "0" && letter <= "9" ? digits.advanceWidth : implicitWidth
                    text: letter
                    font: timeline.font
                    color: "white"
                    horizontalAlignment: Text.AlignHCenter
                    renderType: Text.NativeRendering
                    textFormat: Text.PlainText
                }
            }
        }
    }
}
