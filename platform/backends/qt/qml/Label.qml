import QtQuick

// One line of text, centred in height. A line that is higher than the label sticks out above and below, uncut.
Text {
    property int alignment: 0

    horizontalAlignment: alignment === 1 ? Text.AlignHCenter : alignment === 2 ? Text.AlignRight : Text.AlignLeft
    verticalAlignment: Text.AlignVCenter
    elide: Text.ElideRight
    textFormat: Text.PlainText
    renderType: Text.NativeRendering
    maximumLineCount: 1
}
