import QtQuick

// A ring round the control inside `scope` that the keyboard has focused. The style outlines a
// focused button and the default button alike, so a focused default button looked unfocused.
Rectangle {
    id: ring
    property Item scope: parent
    // Where the scope has scrolled to, if it scrolls: the ring follows its control.
    property real scrolled

    readonly property Item target: {
        const item = Window.activeFocusItem
        // Text areas are no controls: they tell how they got focus instead.
        const fromKeyboard = item && (item.visualFocus === true
            || (item.visualFocus === undefined && (item.focusReason === Qt.TabFocusReason || item.focusReason === Qt.BacktabFocusReason)))
        if (!fromKeyboard || !item.visible)
            return null
        for (let above = item; above; above = above.parent) {
            if (above === ring.scope)
                return item
        }
        return null
    }
    readonly property var area: {
        if (target === null)
            return Qt.rect(0, 0, 0, 0)
        // Read so that the place is worked out again when the control or the page moves or resizes.
        void [target.x, target.y, target.width, target.height, scope.width, scope.height, ring.scrolled]
        return target.mapToItem(ring.parent, 0, 0, target.width, target.height)
    }

    visible: target !== null
    x: area.x - 3
    y: area.y - 3
    width: area.width + 6
    height: area.height + 6
    z: 100
    radius: 4
    color: "transparent"
    border.width: 2
    border.color: ring.scope.palette.highlight
}
