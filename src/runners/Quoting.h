#pragma once

#include <QString>

/// Text that goes into a shell command or an AppleScript literal. Paths come from the user's
/// disk and names from the network; none of them may ever run as code.
namespace Quoting {

/// Escapes what zsh and sh still interpret inside double quotes: `\`, `"`, `$` and the backtick.
[[nodiscard]] QString escapedForDoubleQuotes(const QString &text);
/// `text` in double quotes, escaped as above: "…".
[[nodiscard]] QString shellQuoted(const QString &text);
/// Escapes `\` and `"` for an AppleScript string literal, and writes line breaks and tabs as
/// `\n`, `\r` and `\t`, so the literal stays on one line.
[[nodiscard]] QString escapedForAppleScript(const QString &text);

} // namespace Quoting
