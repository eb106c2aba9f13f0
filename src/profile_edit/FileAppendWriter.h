#pragma once

#include "services/Error.h"
#include "services/FileSystemOperating.h"

#include <QDate>

#include <functional>
#include <memory>

/// Changes a shell start-up file the only way we ever do: by appending a dated, titled block at
/// the end, after a preview the user can inspect, with a backup beside it. Nothing inside an
/// existing file is ever removed or rewritten: the file is handled as bytes, whatever its
/// encoding, and only the preview's texts are decoded, for showing.
class FileAppendWriter {
public:
    struct DiffPreview {
        QString path;
        QString backupPath; // the target's name with ".bak", beside it
        QString originalContents; // for showing: bytes that are not UTF-8 appear as U+FFFD
        QString proposedContents; // likewise
        QStringList linesAdded; // the header line, then the block; empty when already set
        bool alreadySet = false;
        bool wasCreated = false;
        QByteArray originalData; // the file's bytes as read: what the backup holds
        QByteArray appendedData; // what the write adds after them: separator, header, block

        friend bool operator==(const DiffPreview &, const DiffPreview &) = default;
    };

    /// message(): "Couldn't write backup file: …", "Couldn't write file: …", or that the file
    /// changed while the change was being reviewed and nothing was written.
    class WriteError : public Error {
    public:
        enum class Kind { backupFailed, writeFailed, changedSinceReview };
        /// For changedSinceReview, `underlying` is the file's path.
        WriteError(Kind kind, const QString &underlying);
        [[nodiscard]] Kind kind() const { return m_kind; }

    private:
        Kind m_kind;
    };

    using PresenceTest = std::function<bool(const QString &existingText)>;

    FileAppendWriter(QString target, std::shared_ptr<FileSystemOperating> fs);

    /// What appending `lines` under `title` would do; reads, never writes. The file counts as
    /// already set when it contains `presenceTest` anywhere (comments included). Throws
    /// FileSystemError when the file is there but cannot be read, and when the target sits in
    /// the root folder (an empty HOME or "/"), where no profile of anyone's belongs.
    [[nodiscard]] DiffPreview preview(const QStringList &lines, const QString &title, const QString &presenceTest,
                                      QDate today = QDate::currentDate()) const;
    [[nodiscard]] DiffPreview preview(const QStringList &lines, const QString &title, const PresenceTest &isAlreadySet,
                                      QDate today = QDate::currentDate()) const;
    /// Writes the preview: the backup first, complete, with the original's permission bits, put
    /// in place of the previous one only then; then the file itself, through a symbolic link if
    /// it is one, and in place when it has hard links. Nothing when already set. Throws
    /// WriteError: changedSinceReview when the file is no longer what the preview read (nothing
    /// is written); when the backup fails, the file and the previous backup are not touched.
    void apply(const DiffPreview &preview) const;

    /// "# 2026-03-14 Tarnwick — Java configuration".
    [[nodiscard]] static QString header(const QString &title, QDate date);
    /// The file's lines, split at any line break, trimmed, without comment lines.
    [[nodiscard]] static QStringList meaningfulLines(const QString &text);

    [[nodiscard]] const QString &target() const { return m_target; }

private:
    void requireHomeFolder() const;
    void requireUnchanged(const DiffPreview &preview) const;
    void writeBackup(const DiffPreview &preview) const;
    void removeAbandonedBackups(const DiffPreview &preview) const;

    QString m_target;
    std::shared_ptr<FileSystemOperating> m_fs;
};
