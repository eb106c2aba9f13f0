import QtQuick
import QtQuick.Controls
import Tarnwick
import QtQuick.Layouts

ScreenScaffold {
    id: view
    required property ConsentViewModel model

    objectName: "consent-view"
    title: view.model.title

    BulletList {
        heading: view.model.whatHeading
        lines: view.model.whatLines
        Layout.fillWidth: true
    }
    BulletList {
        heading: view.model.privacyHeading
        lines: view.model.privacyLines
        Layout.fillWidth: true
    }
    Flow {
        spacing: 4
        Layout.fillWidth: true
        Label {
            text: view.model.privacyFootnote
            Accessible.name: text
            color: view.palette.placeholderText
        }
        LinkButton {
            objectName: "consent-privacy-link"
            text: view.model.privacyLinkText
            onClicked: view.model.openPrivacyLink()
        }
    }

    buttons: Button {
        id: continueButton
        objectName: "consent-continue"
        text: view.model.continueText
        highlighted: true
        Accessible.name: text
        Accessible.onPressAction: continueButton.clicked()
        onClicked: view.model.accept()
    }

    // Continue is the screen's default action.
    Shortcut {
        sequences: ["Return", "Enter"]
        onActivated: continueButton.clicked()
    }
}
