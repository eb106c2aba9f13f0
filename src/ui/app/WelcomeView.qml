import QtQuick
import QtQuick.Controls
import Tarnwick
import QtQuick.Layouts

ScreenScaffold {
    id: view
    required property WelcomeViewModel model

    objectName: "welcome-view"
    title: view.model.title
    explainer: view.model.tagline
    articleLinkText: view.model.articleLinkText
    onArticleClicked: view.model.openArticle()

    Button {
        id: diagnoseButton
        objectName: "welcome-diagnose-button"
        text: view.model.diagnoseText
        highlighted: true
        font.pixelSize: 15
        padding: 12
        Accessible.name: text
        Accessible.onPressAction: diagnoseButton.clicked()
        onClicked: view.model.diagnose()
        Layout.topMargin: 12
    }

    // Diagnose Java is the screen's default action.
    Shortcut {
        sequences: ["Return", "Enter"]
        onActivated: diagnoseButton.clicked()
    }
}
