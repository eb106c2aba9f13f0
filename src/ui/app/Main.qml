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
        // The system's note colours, so that the notice reads in dark mode too.
        background: Rectangle { color: window.palette.toolTipBase }
        color: window.palette.toolTipText
    }

    // The page for the model's current one. Each view receives its model as it is created,
    // which a required property asks for.
    Loader {
        id: pageLoader
        anchors.fill: parent

        function show() {
            switch (window.app.page) {
            case TarnwickAppModel.Consent:
                setSource("ConsentView.qml", {model: window.app.consent})
                break
            case TarnwickAppModel.Welcome:
                setSource("WelcomeView.qml", {model: window.app.welcome})
                break
            case TarnwickAppModel.Diagnose:
                setSource("DiagnoseView.qml", {model: window.app.diagnose})
                break
            default:
                setSource("StagedAuditFlowView.qml", {model: window.app.audit})
            }
        }

        Component.onCompleted: {
            window.app.pageChanged.connect(pageLoader.show)
            show()
        }
    }
}
