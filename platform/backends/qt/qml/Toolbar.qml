import QtQuick

// The items of a bar: words in the system's blue, or symbols. Places come in points, on whole pixels.
Item {
    id: bar

    property var entries: []        // {text, font, x, y, width, height} or {symbol, x, y, width, height}
    property int pressed: -1        // index of the entry under the finger
    property bool lineAtTop: true   // the hairline that parts the bar from what it lies over
    property real pixelRatio: 1

    Rectangle {
        width: bar.width
        height: 1 / bar.pixelRatio
        y: bar.lineAtTop ? 0 : bar.height - height
        color: "#40000000"
    }

    Repeater {
        model: bar.entries

        Item {
            id: entry

            required property int index
            required property var modelData

            x: modelData.x
            y: modelData.y
            width: modelData.width
            height: modelData.height
            opacity: index === bar.pressed ? 0.2 : 1

            Loader {
                active: entry.modelData.text !== undefined
                sourceComponent: Text {
                    width: entry.width
                    height: entry.height
                    text: entry.modelData.text
                    font: entry.modelData.font
                    color: "#007aff"
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                    textFormat: Text.PlainText
                    renderType: Text.NativeRendering
                }
            }

            Loader {
                active: entry.modelData.symbol !== undefined
                sourceComponent: Image {
                    width: entry.width
                    height: entry.height
                    source: "image://symbols/" + entry.modelData.symbol
                    sourceSize: Qt.size(Math.round(width * bar.pixelRatio), Math.round(height * bar.pixelRatio))
                    smooth: false
                }
            }
        }
    }
}
