import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The page every screen is laid out on: heading, explainer, the screen's own content in a
// leading-aligned column, an optional article link, and the screen's buttons at the bottom.
// The page scrolls when the window is too small for it; the buttons stay in view.
Page {
    id: scaffold

    property string explainer
    property string titleObjectName
    property string explainerObjectName
    // Empty: no article link.
    property string articleLinkText
    default property alias content: column.data
    property alias buttons: buttonRow.data

    signal articleClicked()

    padding: 0
    background: Rectangle { color: scaffold.palette.window }

    ScrollView {
        id: scroller
        anchors.fill: parent
        anchors.bottomMargin: footer.height
        contentWidth: availableWidth
        // No clip: Qt 6.4's software renderer drew the first rows of a clipped page at the wrong
        // place until a resize. The footer is opaque and drawn above the content instead.

        ColumnLayout {
            id: page
            width: scroller.availableWidth
            spacing: 12

            CodeLabel {
                objectName: scaffold.titleObjectName
                source: scaffold.title
                Accessible.role: Accessible.Heading
                font.pixelSize: 26
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
                Layout.fillWidth: true
                Layout.topMargin: 28
                Layout.leftMargin: 32
                Layout.rightMargin: 32
            }
            CodeLabel {
                objectName: scaffold.explainerObjectName
                visible: source.length > 0
                source: scaffold.explainer
                font.pixelSize: 15
                wrapMode: Text.Wrap
                Layout.fillWidth: true
                Layout.leftMargin: 32
                Layout.rightMargin: 32
            }
            ColumnLayout {
                id: column
                spacing: 20
                Layout.fillWidth: true
                Layout.topMargin: 8
                Layout.leftMargin: 32
                Layout.rightMargin: 32
            }
            LinkButton {
                objectName: "scaffold-article-link"
                visible: scaffold.articleLinkText.length > 0
                text: scaffold.articleLinkText
                onClicked: scaffold.articleClicked()
                Layout.leftMargin: 32
                Layout.rightMargin: 32
                Layout.bottomMargin: 16
            }
        }
    }

    Pane {
        id: footer
        objectName: "scaffold-footer"
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        visible: buttonRow.children.length > 1
        height: visible ? implicitHeight : 0
        padding: 16
        leftPadding: 32
        // The screen's buttons at the size of the buttons on the page above them.
        font.pixelSize: 15
        rightPadding: 32

        RowLayout {
            id: buttonRow
            anchors.fill: parent
            spacing: 12
            // Pushes the screen's buttons to the trailing edge.
            Item { Layout.fillWidth: true }
        }
    }

    // Tab onto a control scrolled out of view, or under the buttons, scrolls it into view.
    Window.onActiveFocusItemChanged: scaffold.reveal(Window.activeFocusItem)

    function reveal(item: Item) {
        const bar = scroller.ScrollBar.vertical
        let inPage = false
        for (let above = item ? item.parent : null; above && !inPage; above = above.parent)
            inPage = above === page
        if (!inPage || !scaffold.visible || page.height <= scroller.availableHeight)
            return
        const margin = 12
        const top = item.mapToItem(page, 0, 0).y - margin
        const bottom = top + item.height + 2 * margin
        const shownTop = bar.position * page.height
        if (top < shownTop)
            bar.position = Math.max(0, top) / page.height
        else if (bottom > shownTop + scroller.availableHeight)
            bar.position = Math.min(page.height, bottom) / page.height - bar.size
    }

    FocusRing { scrolled: scroller.ScrollBar.vertical.position }
}
