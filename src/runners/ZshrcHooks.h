#pragma once

#include "services/FileSystemOperating.h"

#include <memory>

/// The hook lines a version manager needs in ~/.zshrc before it sets JAVA_HOME in new shells.
namespace ZshrcHooks {

/// The path of ~/.zshrc.
[[nodiscard]] QString path(const FileSystemOperating &fs);
/// Those of `wanted` that ~/.zshrc does not hold yet, in order. A line counts as present when a
/// line of the file that is not a comment contains it; a missing file holds none. Throws
/// FileSystemError when the file is there but cannot be read.
[[nodiscard]] QStringList missingLines(const FileSystemOperating &fs, const QStringList &wanted);

} // namespace ZshrcHooks
