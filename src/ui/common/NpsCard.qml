import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarnwick

// The satisfaction card: a score from 0 to 10, an optional reason, send or dismiss.
Frame {
    id: card
    required property NpsCardModel model
    readonly property bool sent: card.model.phase === NpsCardModel.Thanks

    objectName: "nps-card"
    padding: 16

    ColumnLayout {
        anchors.fill: parent
        spacing: 10

        Label {
            text: card.sent ? "✓ " + card.model.thanksText : card.model.heading
            font.pixelSize: 17
            font.weight: Font.DemiBold
            Accessible.role: card.sent ? Accessible.StaticText : Accessible.Heading
            Accessible.name: text
        }
        Label {
            visible: !card.sent
            text: card.model.question
            wrapMode: Text.Wrap
            Accessible.name: text
            Layout.fillWidth: true
        }
        RowLayout {
            visible: !card.sent
            spacing: 4
            Repeater {
                // Rebuilt when the pick changes; delegates see only their row.
                model: Array.from({length: 11}, (_, n) => ({score: n,
                    picked: card.model.phase === NpsCardModel.Scored && card.model.score === n}))
                onItemAdded: (index, button) => button.clicked.connect(() => card.model.pick(index))
                Button {
                    id: scoreButton
                    required property var modelData
                    objectName: "nps-score-" + modelData.score
                    text: String(modelData.score)
                    checkable: true
                    checked: modelData.picked
                    implicitWidth: 34
                    Accessible.name: text
                    Accessible.onPressAction: scoreButton.clicked()
                }
            }
        }
        RowLayout {
            visible: !card.sent
            Layout.fillWidth: true
            Label { text: card.model.lowLabel; font.pixelSize: 12; Accessible.name: text }
            Item { Layout.fillWidth: true }
            Label { text: card.model.highLabel; font.pixelSize: 12; Accessible.name: text }
        }
        TextField {
            objectName: "nps-reason"
            visible: !card.sent
            placeholderText: card.model.reasonPrompt
            text: card.model.reasonText
            onTextEdited: card.model.reasonText = text
            Accessible.name: card.model.reasonPrompt
            Layout.fillWidth: true
        }
        RowLayout {
            visible: !card.sent
            spacing: 8
            Button {
                id: submitButton
                objectName: "nps-submit"
                text: card.model.submitText
                enabled: card.model.canSubmit
                highlighted: true
                Accessible.name: text
                Accessible.onPressAction: submitButton.clicked()
                onClicked: card.model.submit()
            }
            Button {
                id: dismissButton
                objectName: "nps-dismiss"
                text: card.model.dismissText
                flat: true
                Accessible.name: text
                Accessible.onPressAction: dismissButton.clicked()
                onClicked: card.model.dismiss()
            }
        }
    }
}
