import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarnwick

// What the diagnosis found and the fix for it; stays under the sheet while the fix runs.
ScreenScaffold {
    id: page
    required property DiagnoseViewModel model

    objectName: "diagnosis-detail"
    title: page.model.title
    titleObjectName: page.model.titleObjectName
    explainer: page.model.detail
    explainerObjectName: page.model.detailObjectName

    RowLayout {
        visible: page.model.placeholderText.length > 0
        spacing: 8
        BusyIndicator {
            running: parent.visible
            implicitWidth: 24
            implicitHeight: 24
            Accessible.name: page.model.placeholderText
        }
        Label {
            objectName: "remediation-placeholder"
            text: page.model.placeholderText
            Accessible.name: text
        }
    }

    ColumnLayout {
        visible: page.model.primaryText.length > 0
        spacing: 6
        Layout.fillWidth: true
        Button {
            id: primaryButton
            objectName: "remediation-primary-button"
            text: page.model.primaryText
            highlighted: true
            enabled: page.model.state === DiagnoseViewModel.Diagnosed
            font.pixelSize: 15
            padding: 12
            Accessible.name: text
            Accessible.onPressAction: primaryButton.clicked()
            onClicked: page.model.remediatePrimary()
        }
        CodeLabel {
            source: page.model.primaryExplainer
            color: page.palette.placeholderText
            Layout.fillWidth: true
        }
    }

    ColumnLayout {
        visible: page.model.secondaryButtonText.length > 0
        spacing: 6
        Layout.fillWidth: true
        Button {
            id: secondaryButton
            objectName: "remediation-secondary-link"
            text: page.model.secondaryButtonText
            enabled: page.model.state === DiagnoseViewModel.Diagnosed
            Accessible.name: text
            Accessible.onPressAction: secondaryButton.clicked()
            onClicked: page.model.remediateSecondary()
        }
        CodeLabel {
            source: page.model.secondaryNote
            color: page.palette.placeholderText
            Layout.fillWidth: true
        }
    }

    LinkButton {
        objectName: page.model.linkObjectName
        visible: page.model.linkText.length > 0
        text: page.model.linkText
        onClicked: page.model.openLink()
    }

    Button {
        id: continueButton
        objectName: "continue-to-audit"
        visible: page.model.showsContinue
        highlighted: true
        text: page.model.continueText
        font.pixelSize: 15
        padding: 12
        Accessible.name: text
        Accessible.onPressAction: continueButton.clicked()
        onClicked: page.model.continueToAudit()
    }

    NpsCard {
        visible: page.model.showsNpsCard
        model: page.model.npsCard
        Layout.fillWidth: true
        Layout.maximumWidth: 560
    }

    Shortcut {
        enabled: page.visible && page.model.state === DiagnoseViewModel.Diagnosed
        sequences: ["Return", "Enter"]
        onActivated: primaryButton.visible ? primaryButton.clicked() : continueButton.visible ? continueButton.clicked() : undefined
    }
}
