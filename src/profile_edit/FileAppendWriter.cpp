#include "profile_edit/FileAppendWriter.h"

#include "services/PausePoint.h"
#include "services/Utf8.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>

#include <cerrno>

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

QString describe(FileAppendWriter::WriteError::Kind kind, const QString &underlying)
{
    using Kind = FileAppendWriter::WriteError::Kind;
    switch (kind) {
    case Kind::backupFailed: return QStringLiteral("Couldn't write backup file: ") + underlying;
    case Kind::writeFailed: return QStringLiteral("Couldn't write file: ") + underlying;
    case Kind::changedSinceReview:
        return QStringLiteral("%1 changed while the change was being reviewed, so nothing was written. Review the change again.")
            .arg(underlying);
    }
    Q_UNREACHABLE();
}

} // namespace

FileAppendWriter::WriteError::WriteError(Kind kind, const QString &underlying)
    : Error(describe(kind, underlying)), m_kind(kind)
{
}

FileAppendWriter::FileAppendWriter(QString target, std::shared_ptr<FileSystemOperating> fs)
    : m_target(std::move(target)), m_fs(std::move(fs))
{
}

QString FileAppendWriter::header(const QString &title, QDate date)
{
    return QStringLiteral("# ") + QLocale::c().toString(date, QStringLiteral("yyyy-MM-dd")) + QStringLiteral(" Tarnwick — ") + title;
}

QStringList FileAppendWriter::meaningfulLines(const QString &text)
{
    // Wider than splitLines, which reads program output: these are files people edit, and any
    // break an editor shows as a new line counts as one here.
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

void FileAppendWriter::requireHomeFolder() const
{
    // An empty HOME reads as "/": "//.zprofile" is nobody's profile.
    const QString folder = QFileInfo(QDir::cleanPath(m_target)).path();
    if (!QDir::isAbsolutePath(m_target) || folder == QLatin1String("/"))
        throw FileSystemError(m_target, QStringLiteral("there is no home folder to put “%1” in (HOME is empty or “/”); nothing was written.")
                                            .arg(QFileInfo(m_target).fileName()));
}

FileAppendWriter::DiffPreview FileAppendWriter::preview(const QStringList &lines, const QString &title,
                                                        const PresenceTest &isAlreadySet, QDate today) const
{
    requireHomeFolder();
    DiffPreview preview;
    preview.path = m_target;
    const QFileInfo target(m_target);
    preview.backupPath = target.path() + QLatin1Char('/') + target.fileName() + QStringLiteral(".bak");
    // A file we cannot read is an error, never an empty file: writing "empty + our block" would
    // replace someone's profile.
    if (m_fs->fileExists(m_target))
        preview.originalData = m_fs->readData(m_target);
    else
        preview.wasCreated = true;
    const QByteArray &existing = preview.originalData;
    preview.originalContents = decodeUtf8Lossily(existing);
    preview.alreadySet = isAlreadySet(preview.originalContents);
    if (preview.alreadySet) {
        preview.proposedContents = preview.originalContents;
        return preview;
    }
    preview.linesAdded = QStringList {header(title, today)} + lines;
    // The block always follows one blank line in a non-empty file.
    QByteArray separator;
    if (!existing.isEmpty() && !existing.endsWith("\n\n"))
        separator = existing.endsWith('\n') ? "\n" : "\n\n";
    preview.appendedData = separator + preview.linesAdded.join(QLatin1Char('\n')).toUtf8() + '\n';
    preview.proposedContents = decodeUtf8Lossily(existing + preview.appendedData);
    return preview;
}

void FileAppendWriter::requireUnchanged(const DiffPreview &preview) const
{
    bool unchanged = false;
    try {
        unchanged = m_fs->fileExists(preview.path) ? !preview.wasCreated && m_fs->readData(preview.path) == preview.originalData
                                                   : preview.wasCreated;
    } catch (const FileSystemError &error) {
        throw WriteError(WriteError::Kind::writeFailed, error.message());
    }
    if (!unchanged)
        throw WriteError(WriteError::Kind::changedSinceReview, preview.path);
}

void FileAppendWriter::writeBackup(const DiffPreview &preview) const
{
    QString staged;
    try {
        if (itemAt(*m_fs, preview.backupPath) == FileType::directory) // never a whole folder of someone's
            throw FileSystemError::fromErrno(QStringLiteral("replace"), preview.backupPath, EISDIR);
        // Profiles often hold tokens: the backup has the original's permission bits before it
        // holds a byte. It is complete before it replaces the previous backup (a link there is
        // replaced, not written through), so a failure at any point leaves that one intact.
        const unsigned permissions = preview.wasCreated ? 0600 : m_fs->attributesOfDestination(preview.path).posixPermissions & 0777;
        staged = m_fs->writeStagedFile(preview.backupPath, preview.originalData, permissions);
        pausePoint("profile-backup-staged");
        m_fs->replaceItem(staged, preview.backupPath);
    } catch (const FileSystemError &error) {
        if (!staged.isEmpty() && itemAt(*m_fs, staged)) {
            try {
                m_fs->removeItem(staged);
            } catch (const FileSystemError &) {
                // The error that matters is the one below.
            }
        }
        throw WriteError(WriteError::Kind::backupFailed, error.message());
    }
}

void FileAppendWriter::removeAbandonedBackups(const DiffPreview &preview) const
{
    // A run killed between staging a backup and putting it in place leaves the staged copy; once
    // a backup is in place, the copies of earlier runs have no use.
    const QFileInfo backup(preview.backupPath);
    const QString prefix = backup.fileName() + QStringLiteral(".tarnwick-");
    try {
        for (const QString &name : m_fs->contentsOfDirectory(backup.path())) {
            if (name.startsWith(prefix) && name.size() == prefix.size() + 6)
                m_fs->removeItem(backup.path() + QLatin1Char('/') + name);
        }
    } catch (const FileSystemError &) {
        // Left for the next run; the edit itself is done.
    }
}

void FileAppendWriter::apply(const DiffPreview &preview) const
{
    if (preview.alreadySet)
        return;
    try {
        requireHomeFolder();
    } catch (const FileSystemError &error) {
        throw WriteError(WriteError::Kind::writeFailed, error.message());
    }
    // A line the user added while looking at the preview must not be written over.
    requireUnchanged(preview);
    writeBackup(preview);
    requireUnchanged(preview);
    try {
        if (preview.wasCreated) {
            m_fs->writeData(preview.path, preview.appendedData);
        } else if (m_fs->attributesOfDestination(preview.path).linkCount > 1) {
            // A rename would leave the other names with the old file; appending keeps them one.
            m_fs->appendData(preview.path, preview.appendedData);
        } else {
            m_fs->writeData(preview.path, preview.originalData + preview.appendedData);
        }
    } catch (const FileSystemError &error) {
        throw WriteError(WriteError::Kind::writeFailed, error.message());
    }
    removeAbandonedBackups(preview);
}
