import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A heading and its bullet lines.
ColumnLayout {
    id: list
    required property string heading
    required property list<string> lines
    spacing: 6

    Label {
        text: list.heading
        Accessible.role: Accessible.Heading
        Accessible.name: text
        font.pixelSize: 16
        font.weight: Font.DemiBold
        wrapMode: Text.Wrap
        Layout.fillWidth: true
        Layout.bottomMargin: 2
    }
    Repeater {
        model: list.lines
        delegate: RowLayout {
            required property string modelData
            spacing: 8
            Layout.fillWidth: true
            Label {
                text: "\u2022"
                Accessible.ignored: true
                Layout.alignment: Qt.AlignTop
            }
            Label {
                text: parent.modelData
                Accessible.name: text
                wrapMode: Text.Wrap
                Layout.fillWidth: true
            }
        }
    }
}
