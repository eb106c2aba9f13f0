import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarnwick

// One audit stage: what the Mac lacks, how to get it, and the way on.
ScreenScaffold {
    id: page
    required property AuditStageModel model

    objectName: page.model.pageObjectName
    title: page.model.title
    explainer: page.model.explainer
    articleLinkText: page.model.articleLinkText
    onArticleClicked: page.model.openArticle()

    // A positioner, not a layout, holds the rows: Qt 6.4's layouts could touch a row the
    // Repeater had just destroyed when the Mac was profiled again during a resize.
    Column {
        spacing: 20
        Layout.fillWidth: true
        Repeater {
            model: page.model.rows
            // Delegates see only their row; what they ask for goes to the page's model from here.
            onItemAdded: (index, finding) => {
                finding.linkClicked.connect(() => page.model.openRowLink(finding.modelData.block))
                finding.actionClicked.connect(() => page.model.install())
            }
            ColumnLayout {
                id: finding
                required property var modelData
                signal linkClicked()
                signal actionClicked()
                width: parent.width
                spacing: 8
                RowLayout {
                    spacing: 8
                    Layout.fillWidth: true
                    AuditMark { row: finding.modelData }
                    Label {
                        id: rowText
                        text: finding.modelData.text
                        font.pixelSize: 15
                        font.weight: Font.DemiBold
                        wrapMode: Text.Wrap
                        Accessible.name: text
                        Layout.fillWidth: true
                    }
                }
                Label {
                    visible: text.length > 0
                    text: finding.modelData.intro
                    wrapMode: Text.Wrap
                    Accessible.name: text
                    Layout.fillWidth: true
                }
                // Selectable, so the person can copy exactly what will run.
                TextEdit {
                    objectName: "audit-homebrew-command"
                    visible: text.length > 0
                    text: finding.modelData.command
                    readOnly: true
                    selectByMouse: true
                    wrapMode: TextEdit.WrapAnywhere
                    font.family: "monospace"
                    color: rowText.palette.text
                    selectionColor: rowText.palette.highlight
                    selectedTextColor: rowText.palette.highlightedText
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                    Layout.fillWidth: true
                }
                Label {
                    visible: text.length > 0
                    text: finding.modelData.note
                    // The tools note quotes a command in backticks.
                    textFormat: Text.MarkdownText
                    wrapMode: Text.Wrap
                    Accessible.name: text
                    Layout.fillWidth: true
                }
                LinkButton {
                    objectName: "audit-" + finding.modelData.block + "-link"
                    visible: text.length > 0
                    text: finding.modelData.linkText
                    onClicked: finding.linkClicked()
                }
                Button {
                    id: homebrewButton
                    objectName: "audit-stage-install"
                    visible: text.length > 0
                    text: finding.modelData.actionText
                    Accessible.name: text
                    Accessible.onPressAction: homebrewButton.clicked()
                    onClicked: finding.actionClicked()
                }
            }
        }
    }

    Button {
        id: installButton
        objectName: "audit-stage-install"
        visible: page.model.stage === AuditStageModel.Terminal && page.model.installText.length > 0
        enabled: !page.model.refreshing
        text: page.model.installText
        Accessible.name: text
        Accessible.onPressAction: installButton.clicked()
        onClicked: page.model.install()
    }
    Label {
        objectName: "audit-warp-disclosure"
        visible: text.length > 0
        text: page.model.disclosure
        font.pixelSize: 12
        wrapMode: Text.Wrap
        Accessible.name: text
        Layout.fillWidth: true
    }
    LinkButton {
        objectName: "audit-warp-link"
        visible: page.model.stage === AuditStageModel.Terminal
        text: page.model.warpLinkText
        onClicked: page.model.openWarp()
    }
    BusyIndicator {
        visible: page.model.refreshing
        running: visible
        Accessible.name: page.model.title
    }

    buttons: Button {
        id: skipButton
        objectName: "audit-stage-skip"
        highlighted: true
        text: page.model.skipText
        Accessible.name: text
        Accessible.onPressAction: skipButton.clicked()
        onClicked: page.model.skip()
    }

    Shortcut {
        enabled: page.visible && !sheetDialog.visible
        sequences: ["Return", "Enter"]
        onActivated: skipButton.clicked()
    }

    // A running fix: a modal sheet over the page, open exactly while the model holds its model.
    Dialog {
        id: sheetDialog
        objectName: "remediation-sheet"
        modal: true
        closePolicy: Popup.NoAutoClose
        parent: Overlay.overlay
        x: 24
        y: 24
        width: page.width - 48
        height: page.height - 48
        padding: 0
        // The sheet shows its title as its own heading; the title stays for assistive technology.
        header: null
        visible: page.model.remediationSheet !== null
        title: page.model.remediationSheet !== null ? page.model.remediationSheet.title : ""

        Loader {
            id: sheetLoader
            anchors.fill: parent
        }
    }

    function showSheet() {
        if (page.model.remediationSheet !== null)
            sheetLoader.setSource("RemediationSheet.qml", {model: page.model.remediationSheet})
        else
            sheetLoader.setSource("")
    }

    Component.onCompleted: {
        page.model.sheetRequested.connect(page.showSheet)
        page.model.sheetClosed.connect(page.showSheet)
    }
}
