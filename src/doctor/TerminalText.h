#pragma once

#include <QString>

/// Text that came from outside (a child's output, a JDK folder's name, a server's message) made
/// safe to print on a terminal: control characters are shown instead of obeyed, so a name cannot
/// retitle the window, clear the screen or hide what came before it. C0 controls and DEL read as
/// caret notation ("^[" for ESC, "^M" for a carriage return, "^?" for DEL), C1 controls as "\x9b"
/// and the like. Tabs stay; everything else is unchanged.
[[nodiscard]] QString visibleText(const QString &text);
