import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarnwick

// The diagnose flow: one page per state of the model, which decides everything shown.
Item {
    id: view
    required property DiagnoseViewModel model

    objectName: "diagnose-view"

    Loader {
        anchors.fill: parent
        sourceComponent: {
            switch (view.model.state) {
            case DiagnoseViewModel.Diagnosed:
            case DiagnoseViewModel.Remediating:
                return detailPage
            case DiagnoseViewModel.Verified:
                return resultPage
            case DiagnoseViewModel.Completed:
            case DiagnoseViewModel.Error:
                return endPage
            default:
                return progressPage
            }
        }
    }

    Component {
        id: detailPage
        DiagnosisDetailView { model: view.model }
    }
    Component {
        id: resultPage
        VerifyResultView { model: view.model }
    }

    // Probing and verifying: heading, what is happening, a busy indicator; nothing to press.
    Component {
        id: progressPage
        ScreenScaffold {
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
    }

    // Completed and error: the message, and the one way on.
    Component {
        id: endPage
        ScreenScaffold {
            id: endScaffold
            readonly property bool failed: view.model.state === DiagnoseViewModel.Error
            objectName: failed ? "diagnose-error" : "diagnose-completed"
            title: view.model.title
            titleObjectName: view.model.titleObjectName
            articleLinkText: failed ? view.model.articleLinkText : ""
            onArticleClicked: view.model.openTroubleshootingArticle()

            // The failure text carries a Markdown link to the troubleshooting article.
            Label {
                objectName: "diagnose-message"
                visible: endScaffold.failed
                text: view.model.detail
                textFormat: Text.MarkdownText
                wrapMode: Text.Wrap
                font.pixelSize: 15
                Accessible.name: view.model.detail
                onLinkActivated: view.model.openTroubleshootingArticle()
                Layout.fillWidth: true
            }

            buttons: [
                Button {
                    id: backButton
                    objectName: "diagnose-back"
                    visible: endScaffold.failed
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
                sequences: ["Return", "Enter"]
                onActivated: endScaffold.failed ? backButton.clicked() : continueButton.clicked()
            }
        }
    }

    Component.onCompleted: view.model.start()
}
