import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarnwick

// The short ending: Java works, the card once, and home.
ScreenScaffold {
    id: page
    required property SimplifiedCompletionModel model

    objectName: "simplified-completion"
    title: page.model.title
    explainer: page.model.explainer
    articleLinkText: page.model.articleLinkText
    onArticleClicked: page.model.openArticle()

    NpsCard {
        visible: page.model.showsNpsCard
        model: page.model.npsCard
        Layout.fillWidth: true
        Layout.maximumWidth: 560
    }

    buttons: Button {
        id: doneButton
        objectName: "completion-done"
        highlighted: true
        text: page.model.doneText
        Accessible.name: text
        Accessible.onPressAction: doneButton.clicked()
        onClicked: page.model.done()
    }
    Shortcut {
        enabled: page.visible
        sequences: ["Return", "Enter"]
        onActivated: doneButton.clicked()
    }

    Component.onCompleted: page.model.start()
}
