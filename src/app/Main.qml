import QtQuick
import QtQuick.Controls

ApplicationWindow {
    id: window
    objectName: "main-window"
    width: 760
    height: 560
    minimumWidth: 640
    minimumHeight: 480
    visible: true
    title: "Tarnwick"

    // Says when the Mac shown is a simulated one; empty on live services.
    required property string notice

    header: Label {
        objectName: "fixture-notice"
        visible: window.notice.length > 0
        text: window.notice
        padding: 8
        wrapMode: Text.WordWrap
        background: Rectangle { color: "#fff4ce" }
    }
}
