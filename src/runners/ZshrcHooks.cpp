#include "runners/ZshrcHooks.h"

#include "profile_edit/FileAppendWriter.h"
#include "services/Utf8.h"

#include <algorithm>

namespace ZshrcHooks {

QString path(const FileSystemOperating &fs)
{
    return fs.homeDirectory() + QStringLiteral("/.zshrc");
}

QStringList missingLines(const FileSystemOperating &fs, const QStringList &wanted)
{
    // Bytes that are not UTF-8 (a Latin-1 comment, say) hide no hook line; an unreadable file is
    // an error, never an empty one, since the offer would then be written as if it were.
    const QString text = fs.fileExists(path(fs)) ? decodeUtf8Lossily(fs.readData(path(fs))) : QString();
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
