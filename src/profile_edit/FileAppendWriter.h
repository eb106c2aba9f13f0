#pragma once

#include "services/FileSystemOperating.h"

#include <QDate>

#include <functional>
#include <memory>
#include <stdexcept>

/// Changes a shell start-up file the only way we ever do: by appending a dated, titled block at
/// the end, after a preview the user can inspect, with a backup beside it. Nothing inside an
/// existing file is ever removed or rewritten.
class FileAppendWriter {
public:
    struct DiffPreview {
        QString path;
        QString backupPath; // the target's name with ".bak", beside it
        QString originalContents;
        QString proposedContents;
        QStringList linesAdded; // the header line, then the block; empty when already set
        bool alreadySet = false;
        bool wasCreated = false;

        friend bool operator==(const DiffPreview &, const DiffPreview &) = default;
    };

    class WriteError : public std::runtime_error {
    public:
        enum class Kind { backupFailed, writeFailed };
        WriteError(Kind kind, const QString &underlying);
        [[nodiscard]] Kind kind() const { return m_kind; }
        /// "Couldn't write backup file: …" or "Couldn't write file: …".
        [[nodiscard]] QString message() const { return m_message; }

    private:
        Kind m_kind;
        QString m_message;
    };

    using PresenceTest = std::function<bool(const QString &existingText)>;

    FileAppendWriter(QString target, std::shared_ptr<const FileSystemOperating> fs);

    /// What appending `lines` under `title` would do; reads, never writes. The file counts as
    /// already set when it contains `presenceTest` anywhere (comments included).
    [[nodiscard]] DiffPreview preview(const QStringList &lines, const QString &title, const QString &presenceTest,
                                      QDate today = QDate::currentDate()) const;
    [[nodiscard]] DiffPreview preview(const QStringList &lines, const QString &title, const PresenceTest &isAlreadySet,
                                      QDate today = QDate::currentDate()) const;
    /// Writes the preview as it stands: backup first (with the original's permission bits), then
    /// the file itself, through a symbolic link if it is one. Nothing when already set. Throws
    /// WriteError; when the backup fails the file is not touched.
    void apply(const DiffPreview &preview) const;

    /// "# 2026-03-14 Tarnwick — Java configuration".
    [[nodiscard]] static QString header(const QString &title, QDate date);
    /// The file's lines, split at any line break, trimmed, without comment lines.
    [[nodiscard]] static QStringList meaningfulLines(const QString &text);

    [[nodiscard]] const QString &target() const { return m_target; }

private:
    QString m_target;
    std::shared_ptr<const FileSystemOperating> m_fs;
};
