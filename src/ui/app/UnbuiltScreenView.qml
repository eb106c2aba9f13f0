import QtQuick
import QtQuick.Controls
import Tarnwick

// Stands where a screen that is not built yet will go, so navigation can be walked end to end.
ScreenScaffold {
    id: view
    required property TarnwickAppModel app

    objectName: "unbuilt-screen-view"
    title: view.app.unbuiltScreenText

    buttons: Button {
        id: backButton
        objectName: "unbuilt-screen-back"
        text: view.app.backText
        Accessible.name: text
        Accessible.onPressAction: backButton.clicked()
        onClicked: view.app.pop()
    }
}
