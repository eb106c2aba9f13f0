import QtQuick
import QtQuick.Controls

// A link that assistive technology can find and press: a control with the link role, named by
// its text. Opening the address is the model's business (onClicked).
AbstractButton {
    id: link
    padding: 0
    Accessible.role: Accessible.Link
    Accessible.name: text
    Accessible.onPressAction: link.clicked()

    contentItem: Label {
        text: link.text
        color: link.palette.link
        font.underline: link.hovered || link.visualFocus
        wrapMode: Text.Wrap
    }
}
