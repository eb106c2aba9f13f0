#include "runners/ZshrcHooks.h"

#include "profile_edit/FileAppendWriter.h"

#include <algorithm>

namespace ZshrcHooks {

QString path(const FileSystemOperating &fs)
{
    return fs.homeDirectory() + QStringLiteral("/.zshrc");
}

QStringList missingLines(const FileSystemOperating &fs, const QStringList &wanted)
{
    QString text;
    try {
        if (fs.fileExists(path(fs)))
            text = fs.readString(path(fs));
    } catch (const FileSystemError &) {
        // Unreadable counts as empty: every line is offered.
    }
    const QStringList lines = FileAppendWriter::meaningfulLines(text);
    QStringList missing;
    for (const QString &line : wanted) {
        const bool present = std::any_of(lines.cbegin(), lines.cend(), [&line](const QString &existing) { return existing.contains(line); });
        if (!present)
            missing.append(line);
    }
    return missing;
}

} // namespace ZshrcHooks
