import QtQuick
import QtQuick.Controls

// The product's texts mark code with backticks (`java -version`): the code reads in a monospace
// face, and assistive technology hears the words without the marks.
Label {
    id: label
    // The text as the model has it, backticks and all.
    property string source

    text: label.source.indexOf("`") < 0 ? label.source : label.styled(label.source)
    textFormat: label.source.indexOf("`") < 0 ? Text.PlainText : Text.RichText
    wrapMode: Text.Wrap
    Accessible.name: label.source.replace(/`/g, "")

    function styled(plain: string): string {
        const escaped = plain.replace(/&/g, "&amp;").replace(/</g, "&lt;").replace(/>/g, "&gt;").replace(/\n/g, "<br>")
        return escaped.replace(/`([^`]+)`/g, "<code>$1</code>")
    }
}
