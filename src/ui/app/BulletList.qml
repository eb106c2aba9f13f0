import QtQuick
import QtQuick.Controls

// A heading and its bullet lines; a line that wraps keeps its bullet at its first row.
Column {
    id: list
    required property string heading
    required property var lines
    spacing: 6

    Label {
        width: list.width
        bottomPadding: 2
        text: list.heading
        Accessible.role: Accessible.Heading
        Accessible.name: text
        font.pixelSize: 16
        font.weight: Font.DemiBold
        wrapMode: Text.Wrap
    }
    Repeater {
        model: list.lines
        delegate: Item {
            id: row
            required property string modelData
            width: parent ? parent.width : 0
            height: line.implicitHeight
            Label {
                text: "\u2022"
                Accessible.ignored: true
            }
            Label {
                id: line
                x: 16
                width: row.width - 16
                text: row.modelData
                Accessible.name: text
                wrapMode: Text.Wrap
            }
        }
    }
}
