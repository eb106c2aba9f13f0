import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tarnwick

// The JAVA_HOME lines for ~/.zprofile, shown as a diff before anything is written.
Page {
    id: sheet
    required property ZprofileDiffSheetModel model

    readonly property bool hasPreview: model.state === ZprofileDiffSheetModel.Previewed
                                       || model.state === ZprofileDiffSheetModel.Applied

    objectName: "zprofile-diff-sheet"
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
            source: sheet.model.detail
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }

        BusyIndicator {
            visible: sheet.model.state === ZprofileDiffSheetModel.Loading
            running: visible
            Accessible.name: sheet.model.title.replace(/`/g, "")
        }
        Label {
            objectName: "zprofile-load-error"
            visible: sheet.model.state === ZprofileDiffSheetModel.LoadFailed
            text: sheet.model.loadError
            Accessible.name: text
            color: sheet.errorColour
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
        CodeLabel {
            objectName: "zprofile-already-set"
            visible: sheet.model.state === ZprofileDiffSheetModel.AlreadySet
            source: sheet.model.alreadySetNote
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
        CodeLabel {
            objectName: "zprofile-created-note"
            visible: sheet.hasPreview && source.length > 0
            source: sheet.model.createdNote
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }
        CodeLabel {
            visible: sheet.hasPreview
            source: sheet.model.backupLine
            font.pixelSize: 11
            color: sheet.palette.placeholderText
            Layout.fillWidth: true
        }
        Frame {
            visible: sheet.hasPreview
            padding: 1
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.minimumHeight: 80
            background: Rectangle { color: sheet.palette.base; border.color: sheet.palette.mid }

            ListView {
                id: diff
                objectName: "zprofile-diff"
                anchors.fill: parent
                clip: true
                model: sheet.model.diffLines
                boundsBehavior: Flickable.StopAtBounds
                ScrollBar.vertical: ScrollBar {}

                // Added lines carry a plus sign and a green tint; unchanged ones a space.
                delegate: Rectangle {
                    required property var modelData
                    width: ListView.view.width
                    height: lineText.implicitHeight
                    color: modelData.added ? Qt.rgba(0.2, 0.7, 0.3, 0.18) : "transparent"
                    TextArea {
                        id: lineText
                        width: parent.width
                        topPadding: 0
                        bottomPadding: 0
                        leftPadding: 8
                        rightPadding: 8
                        background: null
                        text: (parent.modelData.added ? "+ " : "  ") + parent.modelData.text
                        readOnly: true
                        selectByMouse: true
                        wrapMode: TextEdit.WrapAnywhere
                        font.family: "monospace"
                        font.pixelSize: 12
                        Accessible.role: Accessible.StaticText
                        Accessible.name: text
                    }
                }
            }
        }
        // Fills the height when no diff does.
        Item { visible: !sheet.hasPreview; Layout.fillHeight: true }
        Label {
            objectName: "zprofile-apply-error"
            visible: text.length > 0
            text: sheet.model.applyError
            Accessible.name: text
            color: sheet.errorColour
            wrapMode: Text.Wrap
            Layout.fillWidth: true
        }

        RowLayout {
            spacing: 12
            Layout.fillWidth: true

            Button {
                objectName: "zprofile-toggle"
                visible: sheet.hasPreview
                text: sheet.model.toggleText
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.toggleFullFile()
            }
            Item { Layout.fillWidth: true }
            Button {
                id: closeButton
                objectName: "zprofile-close"
                visible: sheet.model.state === ZprofileDiffSheetModel.LoadFailed
                highlighted: true
                text: sheet.model.closeText
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.close()
            }
            Button {
                id: cancelButton
                objectName: "zprofile-cancel"
                visible: sheet.model.state === ZprofileDiffSheetModel.Previewed
                enabled: !sheet.model.applying
                text: sheet.model.cancelText
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.cancel()
            }
            Button {
                id: applyButton
                objectName: "zprofile-apply"
                visible: sheet.model.state === ZprofileDiffSheetModel.Previewed
                enabled: !sheet.model.applying
                text: sheet.model.applyText
                highlighted: true
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.apply()
            }
            Button {
                id: continueButton
                objectName: "zprofile-continue"
                visible: sheet.model.state === ZprofileDiffSheetModel.AlreadySet
                         || sheet.model.state === ZprofileDiffSheetModel.Applied
                text: sheet.model.continueText
                highlighted: true
                Accessible.name: text
                Accessible.onPressAction: clicked()
                onClicked: sheet.model.continueToVerify()
            }
        }
    }

    Shortcut {
        sequences: ["Return", "Enter"]
        enabled: applyButton.visible || continueButton.visible || closeButton.visible
        onActivated: applyButton.visible ? applyButton.clicked()
                   : continueButton.visible ? continueButton.clicked() : closeButton.clicked()
    }
    Shortcut {
        sequence: "Escape"
        enabled: cancelButton.visible && cancelButton.enabled
        onActivated: cancelButton.clicked()
    }

    FocusRing {}
}
