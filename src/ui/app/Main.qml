import QtQuick
import QtQuick.Controls
import Tarnwick

ApplicationWindow {
    id: window
    required property TarnwickAppModel app

    objectName: "main-window"
    width: 760
    height: 620
    minimumWidth: 640
    minimumHeight: 480
    visible: true
    title: window.app.windowTitle

    header: Label {
        objectName: "fixture-notice"
        visible: window.app.notice.length > 0
        text: window.app.notice
        Accessible.name: text
        padding: 8
        wrapMode: Text.WordWrap
        background: Rectangle { color: "#fff4ce" }
        color: "#3d3000"
    }

    Loader {
        id: pageLoader
        anchors.fill: parent
        sourceComponent: {
            switch (window.app.page) {
            case TarnwickAppModel.Page.Consent: return consentPage
            case TarnwickAppModel.Page.Welcome: return welcomePage
            default: return unbuiltPage
            }
        }
    }

    Component {
        id: consentPage
        ConsentView { model: window.app.consent }
    }
    Component {
        id: welcomePage
        WelcomeView { model: window.app.welcome }
    }
    Component {
        id: unbuiltPage
        UnbuiltScreenView { app: window.app }
    }

    Component.onCompleted: window.app.start()
}
