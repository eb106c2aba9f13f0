#include "profile_edit/FileAppendWriter.h"

#include <QFileInfo>
#include <cerrno>
#include <QLocale>
#include <QRegularExpression>

namespace {

// What is at `path` itself (a dangling link included); nothing when nothing is.
std::optional<FileType> itemAt(const FileSystemOperating &fs, const QString &path)
{
    try {
        return fs.attributesOfItem(path).type;
    } catch (const FileSystemError &) {
        return std::nullopt;
    }
}

} // namespace

FileAppendWriter::WriteError::WriteError(Kind kind, const QString &underlying)
    : std::runtime_error(underlying.toStdString())
    , m_kind(kind)
    , m_message((kind == Kind::backupFailed ? QStringLiteral("Couldn't write backup file: ") : QStringLiteral("Couldn't write file: "))
                + underlying)
{
}

FileAppendWriter::FileAppendWriter(QString target, std::shared_ptr<const FileSystemOperating> fs)
    : m_target(std::move(target)), m_fs(std::move(fs))
{
}

QString FileAppendWriter::header(const QString &title, QDate date)
{
    return QStringLiteral("# ") + QLocale::c().toString(date, QStringLiteral("yyyy-MM-dd")) + QStringLiteral(" Tarnwick — ") + title;
}

QStringList FileAppendWriter::meaningfulLines(const QString &text)
{
    static const QRegularExpression lineBreak(QStringLiteral("\r\n|[\n\v\f\r\u0085\u2028\u2029]"));
    QStringList lines;
    for (const QString &line : text.split(lineBreak)) {
        const QString trimmed = line.trimmed();
        if (!trimmed.startsWith(QLatin1Char('#')))
            lines.append(trimmed);
    }
    return lines;
}

FileAppendWriter::DiffPreview FileAppendWriter::preview(const QStringList &lines, const QString &title,
                                                        const QString &presenceTest, QDate today) const
{
    return preview(lines, title, [presenceTest](const QString &text) { return text.contains(presenceTest); }, today);
}

FileAppendWriter::DiffPreview FileAppendWriter::preview(const QStringList &lines, const QString &title,
                                                        const PresenceTest &isAlreadySet, QDate today) const
{
    DiffPreview preview;
    preview.path = m_target;
    const QFileInfo target(m_target);
    preview.backupPath = target.path() + QLatin1Char('/') + target.fileName() + QStringLiteral(".bak");
    if (m_fs->fileExists(m_target)) {
        try {
            preview.originalContents = m_fs->readString(m_target);
        } catch (const FileSystemError &) {
            // Unreadable reads as empty: the preview shows exactly what would be written.
        }
    } else {
        preview.wasCreated = true;
    }
    const QString &existing = preview.originalContents;
    preview.alreadySet = isAlreadySet(existing);
    if (preview.alreadySet) {
        preview.proposedContents = existing;
        return preview;
    }
    preview.linesAdded = QStringList {header(title, today)} + lines;
    // The block always follows one blank line in a non-empty file.
    QString separator;
    if (!existing.isEmpty() && !existing.endsWith(QStringLiteral("\n\n")))
        separator = existing.endsWith(QLatin1Char('\n')) ? QStringLiteral("\n") : QStringLiteral("\n\n");
    preview.proposedContents = existing + separator + preview.linesAdded.join(QLatin1Char('\n')) + QLatin1Char('\n');
    return preview;
}

void FileAppendWriter::apply(const DiffPreview &preview) const
{
    if (preview.alreadySet)
        return;
    try {
        // Whatever is there goes, a link included: writing through an old link would put the
        // backup somewhere else entirely.
        const std::optional<FileType> existingBackup = itemAt(*m_fs, preview.backupPath);
        if (existingBackup == FileType::directory) // never a whole folder of someone's
            throw FileSystemError::fromErrno(QStringLiteral("replace"), preview.backupPath, EISDIR);
        if (existingBackup)
            m_fs->removeItem(preview.backupPath);
        // Profiles often hold tokens: the backup gets the original's permission bits before it
        // gets the original's text.
        if (!preview.wasCreated && m_fs->fileExists(preview.path)) {
            m_fs->writeString(preview.backupPath, QString());
            m_fs->setPosixPermissions(preview.backupPath, m_fs->attributesOfDestination(preview.path).posixPermissions);
        }
        m_fs->writeString(preview.backupPath, preview.originalContents);
    } catch (const FileSystemError &error) {
        throw WriteError(WriteError::Kind::backupFailed, error.message());
    }
    try {
        m_fs->writeString(preview.path, preview.proposedContents);
    } catch (const FileSystemError &error) {
        throw WriteError(WriteError::Kind::writeFailed, error.message());
    }
}
