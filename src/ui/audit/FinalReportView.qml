import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarnwick

// The audit's closing report: one row per finding, the card once, and home.
ScreenScaffold {
    id: page
    required property FinalReportModel model

    objectName: "audit-final-report"
    title: page.model.title
    explainer: page.model.explainer
    articleLinkText: page.model.articleLinkText
    onArticleClicked: page.model.openArticle()

    // A positioner, not a layout, holds the rows: Qt 6.4's layouts could touch a row the
    // Repeater had just destroyed when the report profiled the Mac again during a resize.
    Column {
        spacing: 8
        Layout.fillWidth: true
        Repeater {
            model: page.model.rows
            // Delegates see only their row; the link's click goes to the model from here.
            onItemAdded: (index, reportRow) => reportRow.linkClicked.connect(() => page.model.openWarp())
            RowLayout {
                id: reportRow
                required property var modelData
                signal linkClicked()
                width: parent.width
                spacing: 8
                AuditMark { row: reportRow.modelData }
                Label {
                    visible: reportRow.modelData.block !== "warp"
                    text: reportRow.modelData.text
                    font.pixelSize: 15
                    wrapMode: Text.Wrap
                    Accessible.name: text
                    Layout.fillWidth: true
                }
                LinkButton {
                    objectName: "audit-report-warp-link"
                    visible: reportRow.modelData.block === "warp"
                    text: reportRow.modelData.text
                    font.pixelSize: 15
                    onClicked: reportRow.linkClicked()
                }
                // Takes the row's spare width, which the layout would otherwise share out
                // between the mark and the link and so push the link away from its mark.
                Item {
                    visible: reportRow.modelData.block === "warp"
                    Layout.fillWidth: true
                }
            }
        }
    }
    NpsCard {
        visible: page.model.showsNpsCard
        model: page.model.npsCard
        Layout.fillWidth: true
        Layout.maximumWidth: 560
    }

    buttons: Button {
        id: doneButton
        objectName: "audit-done"
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
