import QtQuick
import QtQuick.Controls

ApplicationWindow {
    width: 760
    height: 620
    visible: true
    title: "Bare"

    Label {
        anchors.centerIn: parent
        text: "A bare Qt Quick window"
    }
}
