import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A status mark (✓ ✗ →) in its colour, named for screen readers by what it means. Green and red
// are picked by how light the window is, so that both read on a light and on a dark page.
Label {
    id: mark
    required property var row

    readonly property bool darkPage: mark.palette.window.hslLightness < 0.5
    text: mark.row.mark
    font.pixelSize: 17
    font.weight: Font.DemiBold
    // One column for every mark: → is wider than ✓ and ✗, and a row's text starts where the
    // others' do.
    horizontalAlignment: Text.AlignHCenter
    Layout.preferredWidth: 22
    color: mark.row.colour === "good" ? (mark.darkPage ? "#5fd37f" : "#1b7f37")
         : mark.row.colour === "missing" ? (mark.darkPage ? "#ff7a70" : "#c42b1c")
         : mark.palette.link
    Accessible.role: Accessible.StaticText
    Accessible.name: mark.row.markName
}
