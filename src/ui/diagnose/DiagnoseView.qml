import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarnwick

// The diagnose flow: one page per state of the model, which decides everything shown.
Item {
    id: view
    required property DiagnoseViewModel model

    objectName: "diagnose-view"

    // One page per kind of state; only the current one is visible.
    readonly property int state: view.model.state

    DiagnosisDetailView {
        anchors.fill: parent
        visible: view.state === DiagnoseViewModel.Diagnosed || view.state === DiagnoseViewModel.Remediating
        model: view.model
    }
    VerifyResultView {
        anchors.fill: parent
        visible: view.state === DiagnoseViewModel.Verified && view.model.simplifiedCompletion === null
        model: view.model
    }
    // Continue on a Mac that does not look like a developer's ends here instead of the audit.
    Loader {
        id: endLoader
        anchors.fill: parent
    }
    function showEnd() {
        if (view.model.simplifiedCompletion !== null && endLoader.item === null)
            endLoader.setSource("SimplifiedCompletionView.qml", {model: view.model.simplifiedCompletion})
    }

    // Probing and verifying: heading, what is happening, a busy indicator; nothing to press.
    ScreenScaffold {
            anchors.fill: parent
            visible: view.state === DiagnoseViewModel.Probing || view.state === DiagnoseViewModel.Verifying
            objectName: "diagnose-progress"
            title: view.model.title
            titleObjectName: view.model.titleObjectName
            explainer: view.model.detail
            explainerObjectName: view.model.detailObjectName
            BusyIndicator {
                running: true
                Accessible.name: view.model.title
            }
        }

    // Completed and error: the message, and the one way on.
    ScreenScaffold {
            id: endScaffold
            anchors.fill: parent
            visible: view.state === DiagnoseViewModel.Completed || view.state === DiagnoseViewModel.Error
            readonly property bool failed: view.model.state === DiagnoseViewModel.Error
            objectName: failed ? "diagnose-error" : "diagnose-completed"
            title: view.model.title
            titleObjectName: view.model.titleObjectName
            articleLinkText: failed ? view.model.articleLinkText : ""
            onArticleClicked: view.model.openTroubleshootingArticle()

            Label {
                objectName: "diagnose-message"
                visible: endScaffold.failed
                text: view.model.detail
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                font.pixelSize: 15
                Accessible.name: text
                Layout.fillWidth: true
            }
            LinkButton {
                objectName: "diagnose-message-link"
                visible: endScaffold.failed && text.length > 0
                text: view.model.messageLinkText
                onClicked: view.model.openMessageLink()
            }

            buttons: [
                Button {
                    id: backButton
                    objectName: "diagnose-back"
                    visible: endScaffold.failed
                    highlighted: true
                    text: view.model.backText
                    Accessible.name: text
                    Accessible.onPressAction: backButton.clicked()
                    onClicked: view.model.back()
                },
                Button {
                    id: continueButton
                    objectName: "continue-to-audit"
                    visible: !endScaffold.failed
                    highlighted: true
                    text: view.model.continueText
                    Accessible.name: text
                    Accessible.onPressAction: continueButton.clicked()
                    onClicked: view.model.continueToAudit()
                }
            ]
            Shortcut {
                enabled: endScaffold.visible
                sequences: ["Return", "Enter"]
                onActivated: endScaffold.failed ? backButton.clicked() : continueButton.clicked()
            }
        }

    // A running fix: a modal sheet over the detail screen, open exactly while the model holds the
    // sheet's model. Only the sheet's own buttons close it, through the model.
    Dialog {
        id: sheetDialog
        objectName: "remediation-sheet"
        modal: true
        closePolicy: Popup.NoAutoClose
        parent: Overlay.overlay
        x: 24
        y: 24
        width: view.width - 48
        height: view.height - 48
        padding: 0
        // The sheet shows its title as its own heading; the title stays for assistive technology.
        header: null
        visible: view.model.remediationSheet !== null || view.model.zprofileSheet !== null
        title: view.model.remediationSheet !== null ? view.model.remediationSheet.title
             : view.model.zprofileSheet !== null ? view.model.zprofileSheet.title : ""

        Loader {
            id: sheetLoader
            anchors.fill: parent
        }
    }

    function showSheet() {
        if (view.model.remediationSheet !== null)
            sheetLoader.setSource("RemediationSheet.qml", {model: view.model.remediationSheet})
        else if (view.model.zprofileSheet !== null)
            sheetLoader.setSource("ZprofileDiffSheet.qml", {model: view.model.zprofileSheet})
        else
            sheetLoader.setSource("")
    }

    Component.onCompleted: {
        view.model.sheetRequested.connect(view.showSheet)
        view.model.sheetClosed.connect(view.showSheet)
        view.model.changed.connect(view.showEnd)
        view.model.start()
    }
}
