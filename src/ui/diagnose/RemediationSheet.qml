import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarnwick

// A fix running: its output streams into a list that follows the newest line unless the person
// scrolled up to read; the buttons change with the run's end.
Page {
    id: sheet
    required property RemediationSheetModel model

    objectName: "remediation-progress"
    implicitWidth: 640
    implicitHeight: 480
    padding: 24
    background: Rectangle { color: sheet.palette.window }
    // Qt 6.4 does not pass a palette change (dark mode turned on or off) from a dialog to what is in
    // it, so the sheet takes the window's palette itself (when a window of the app shows it).
    // Debian's Qt 6.4 ships no type description of Binding for qmllint to check it against.
    // qmllint disable
    Binding on palette {
        when: sheet.ApplicationWindow.window !== null
        value: sheet.ApplicationWindow.window?.palette
    }
    // qmllint enable
    // Errors in red, lighter on a dark window so that they read there too (as the audit's marks).
    readonly property color errorColour: sheet.palette.window.hslLightness < 0.5 ? "#ff7a70" : "#c42b1c"

    ColumnLayout {
        anchors.fill: parent
        spacing: 12

        CodeLabel {
            source: sheet.model.title
            Accessible.role: Accessible.Heading
            font.pixelSize: 20
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
        CodeLabel {
            visible: source.length > 0
            source: sheet.model.explainer
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
        RowLayout {
            visible: sheet.model.statusText.length > 0
            spacing: 8
            BusyIndicator {
                running: parent.visible
                Accessible.name: sheet.model.statusText
                Layout.preferredWidth: 20
                Layout.preferredHeight: 20
            }
            Label {
                objectName: "remediation-status"
                text: sheet.model.statusText
                Accessible.name: text
            }
        }

        Frame {
            padding: 1
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: 120
            background: Rectangle { color: sheet.palette.base; border.color: sheet.palette.mid }

            ListView {
                id: output
                objectName: "remediation-output"
                anchors.fill: parent
                clip: true
                model: sheet.model.lines
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar {}
                // Follows the newest line until the person scrolls up; scrolling back down
                // resumes it.
                property bool following: true
                onMovementEnded: following = atYEnd
                onCountChanged: if (following) Qt.callLater(output.positionViewAtEnd)

                // Rows scroll past by the thousand a second: plain text items, pooled and reused
                // as the list jumps to the end, rather than a styled control made for each row.
                reuseItems: true
                delegate: TextEdit {
                    required property string line
                    required property bool isRetry
                    objectName: isRetry ? "remediation-retry-line" : ""
                    width: ListView.view.width
                    leftPadding: 8
                    rightPadding: 8
                    text: line
                    readOnly: true
                    selectByMouse: true
                    wrapMode: TextEdit.WrapAnywhere
                    font.family: "monospace"
                    font.pixelSize: 12
                    color: palette.text
                    selectionColor: palette.highlight
                    selectedTextColor: palette.highlightedText
                    // Read like the read-only text area it stands in for, as the diff sheet's lines are.
                    Accessible.role: Accessible.EditableText
                    Accessible.readOnly: true
                    Accessible.name: text
                }
            }
        }

        // The ~/.zshrc offer stands where Continue would be until it is applied or skipped.
        ColumnLayout {
            visible: sheet.model.zshrcOfferPending
            spacing: 6
            Layout.fillWidth: true
            Label {
                text: sheet.model.zshrcOfferText
                Accessible.name: text
                wrapMode: Text.Wrap
                Layout.fillWidth: true
            }
            CodeLabel {
                source: sheet.model.zshrcBackupLine
                font.pixelSize: 11
                color: sheet.palette.placeholderText
                Layout.fillWidth: true
            }
            Label {
                objectName: "remediation-zshrc-preview"
                text: sheet.model.zshrcPreview
                Accessible.name: text
                font.family: "monospace"
                font.pixelSize: 12
                padding: 6
                background: Rectangle { color: sheet.palette.base }
                Layout.fillWidth: true
            }
        }
        Label {
            objectName: "remediation-zshrc-error"
            visible: text.length > 0
            text: sheet.model.zshrcError
            Accessible.name: text
            color: sheet.errorColour
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }

        RowLayout {
            spacing: 12
            Layout.fillWidth: true

            Button {
                objectName: "remediation-copy-output"
                text: sheet.model.copyOutputText
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.copyOutput()
            }
            Item { Layout.fillWidth: true }
            Button {
                objectName: "remediation-cancel"
                visible: sheet.model.canCancel
                enabled: sheet.model.cancelEnabled
                text: sheet.model.cancelText
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.cancel()
            }
            Button {
                objectName: "remediation-zshrc-skip"
                visible: sheet.model.zshrcOfferPending
                text: sheet.model.skipZshrcText
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.skipZshrc()
            }
            Button {
                objectName: "remediation-zshrc-apply"
                visible: sheet.model.zshrcOfferPending
                text: sheet.model.applyZshrcText
                highlighted: true
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.applyZshrc()
            }
            Button {
                objectName: "remediation-article"
                visible: sheet.model.showsFailure
                text: sheet.model.articleText
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.openArticle()
            }
            Button {
                id: endButton
                objectName: "remediation-end"
                visible: text.length > 0
                text: sheet.model.endText
                highlighted: true
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.leave()
            }
        }
    }

    Shortcut {
        sequences: ["Return", "Enter"]
        enabled: endButton.visible
        onActivated: endButton.clicked()
    }
    Shortcut {
        sequence: "Escape"
        enabled: sheet.model.canCancel
        onActivated: sheet.model.cancel()
    }

    FocusRing {}
}
