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
}
