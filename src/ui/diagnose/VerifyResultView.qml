import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarnwick

// The verdict of the check in a fresh login shell, with the shell's real output.
ScreenScaffold {
    id: page
    required property DiagnoseViewModel model

    objectName: "verify-result"
    title: page.model.title
    titleObjectName: page.model.titleObjectName
    explainer: page.model.detail
    explainerObjectName: "verify-result-detail"

    // Monospaced and selectable, so the user can copy what the shell said.
    Frame {
        Layout.fillWidth: true
        GridLayout {
            anchors.fill: parent
            columns: 2
            columnSpacing: 16
            rowSpacing: 8
            Label {
                text: "java -version"
                font.weight: Font.DemiBold
                Accessible.name: text
                // Level with the first line of a long output, not its middle: the label fills
                // its cell's height with its text at the top.
                verticalAlignment: Text.AlignTop
                Layout.fillHeight: true
            }
            TextEdit {
                objectName: "verify-output"
                text: page.model.outputText
                readOnly: true
                selectByMouse: true
                wrapMode: TextEdit.Wrap
                font.family: "monospace"
                color: page.palette.text
                selectionColor: page.palette.highlight
                selectedTextColor: page.palette.highlightedText
                Accessible.role: Accessible.StaticText
                Accessible.name: text
                Layout.fillWidth: true
            }
            Label {
                text: "JAVA_HOME"
                font.weight: Font.DemiBold
                Accessible.name: text
                // Level with the first line of a long output, not its middle: the label fills
                // its cell's height with its text at the top.
                verticalAlignment: Text.AlignTop
                Layout.fillHeight: true
            }
            TextEdit {
                objectName: "verify-java-home"
                text: page.model.javaHomeText
                readOnly: true
                selectByMouse: true
                wrapMode: TextEdit.Wrap
                font.family: "monospace"
                color: page.palette.text
                selectionColor: page.palette.highlight
                selectedTextColor: page.palette.highlightedText
                Accessible.role: Accessible.StaticText
                Accessible.name: text
                Layout.fillWidth: true
            }
        }
    }

    Label {
        objectName: "verify-offer-heading"
        visible: page.model.offersJavaHome
        text: page.model.offerHeading
        font.pixelSize: 17
        font.weight: Font.DemiBold
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }

    buttons: [
        Button {
            id: articleButton
            objectName: "verify-open-article"
            visible: !page.model.passed
            text: page.model.openArticleText
            Accessible.name: text
            Accessible.onPressAction: articleButton.clicked()
            onClicked: page.model.openTroubleshootingArticle()
        },
        Button {
            id: backButton
            objectName: "diagnose-back"
            visible: !page.model.passed
            highlighted: true
            text: page.model.backText
            Accessible.name: text
            Accessible.onPressAction: backButton.clicked()
            onClicked: page.model.back()
        },
        Button {
            id: continueButton
            objectName: "continue-to-audit"
            visible: page.model.passed
            highlighted: !page.model.offersJavaHome
            text: page.model.continueText
            Accessible.name: text
            Accessible.onPressAction: continueButton.clicked()
            onClicked: page.model.continueToAudit()
        },
        Button {
            id: javaHomeButton
            objectName: "verify-set-java-home"
            visible: page.model.offersJavaHome
            enabled: !page.model.busy
            highlighted: true
            text: page.model.offerButtonText
            Accessible.name: text
            Accessible.onPressAction: javaHomeButton.clicked()
            onClicked: page.model.setJavaHome()
        }
    ]

    Shortcut {
        enabled: page.visible
        sequences: ["Return", "Enter"]
        onActivated: javaHomeButton.visible ? javaHomeButton.clicked()
                                           : continueButton.visible ? continueButton.clicked() : backButton.clicked()
    }
}
