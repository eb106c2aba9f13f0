#pragma once

#include "services/Error.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <stdexcept>
#include <utility>

/// A file operation failed. The message names the operation and the path, then the platform's
/// reason: "Couldn't read “/Users/ada/.zprofile”: Permission denied".
class FileSystemError : public Error {
public:
    FileSystemError(const QString &path, const QString &message, int errorCode = 0, QString reason = {})
        : Error(message), m_path(path), m_errorCode(errorCode), m_reason(std::move(reason))
    {
    }
    /// "Couldn't <verb> “<path>”: <the platform's reason for errorCode>".
    [[nodiscard]] static FileSystemError fromErrno(const QString &verb, const QString &path, int errorCode);
    [[nodiscard]] static FileSystemError withReason(const QString &verb, const QString &path, const QString &reason);
    /// Reading or writing the contents of `path` failed. As fromErrno, except that EPERM means
    /// macOS's privacy protection refused (files in ~/Documents, iCloud Drive or Dropbox, or
    /// linked there): "macOS blocked access to ~/Documents/… — allow it in System Settings ›
    /// Privacy & Security", naming `blockedPath` (where the file really is) under `home` as ~.
    [[nodiscard]] static FileSystemError accessFailure(const QString &verb, const QString &path, int errorCode,
                                                       const QString &blockedPath, const QString &home);

    [[nodiscard]] QString path() const { return m_path; }
    /// The errno value behind the failure, or 0 when there was none (text that is not UTF-8).
    [[nodiscard]] int errorCode() const { return m_errorCode; }
    /// Only the reason ("Permission denied"), for a caller whose own words already name the file
    /// and what was tried; the whole message when there is no separate reason.
    [[nodiscard]] QString reason() const { return m_reason.isEmpty() ? message() : m_reason; }

private:
    QString m_path;
    int m_errorCode;
    QString m_reason;
};

enum class FileType { regular, directory, symbolicLink, other };

/// What `attributesOfItem` reports. Like the platform's call, it describes a symbolic link itself,
/// not what the link points to.
struct FileAttributes {
    FileType type = FileType::other;
    qint64 size = 0;
    unsigned posixPermissions = 0; // e.g. 0644
    QDateTime modificationDate;
    qint64 linkCount = 1; // names of the file (hard links); an atomic replace would split them
};

struct FileExistence {
    bool exists = false;
    bool isDirectory = false;
};

/// Whether `createDirectory` makes the missing folders above the one asked for.
enum class Parents { mustExist, create };

/// File-system access. Paths are absolute. Every method is safe to call from any thread, writes
/// included; each call stands alone, so two calls are never one step (another thread or program
/// may act in between). The writes are not const: code handed a const one can only read.
class FileSystemOperating {
public:
    virtual ~FileSystemOperating() = default;

    [[nodiscard]] virtual QString homeDirectory() const = 0;
    /// The per-user temporary directory (NSTemporaryDirectory on a Mac, $TMPDIR or /tmp elsewhere).
    [[nodiscard]] virtual QString temporaryDirectory() const = 0;
    /// ~/Library/Caches on a Mac; the platform's user cache folder elsewhere. Not created here.
    [[nodiscard]] virtual QString cachesDirectory() const = 0;
    /// ~/Library/Application Support on a Mac; the platform's user data folder elsewhere.
    [[nodiscard]] virtual QString applicationSupportDirectory() const = 0;

    /// Whether something is at `path`, following symbolic links (a dangling link does not exist).
    [[nodiscard]] virtual bool fileExists(const QString &path) const = 0;
    [[nodiscard]] virtual FileExistence fileExistence(const QString &path) const = 0;
    /// A regular file we may execute; a directory is never one.
    [[nodiscard]] virtual bool isExecutableFile(const QString &path) const = 0;

    /// Entry names (not paths), unsorted, without "." and "..". Throws FileSystemError.
    [[nodiscard]] virtual QStringList contentsOfDirectory(const QString &path) const = 0;
    /// With Parents::create, missing ancestors are made and an existing directory is fine; with
    /// Parents::mustExist, a missing parent or an existing entry is an error. Throws.
    virtual void createDirectory(const QString &path, Parents parents) = 0;
    /// Removes a file, a link (not its target) or a whole directory tree. Throws, also when
    /// nothing is there.
    virtual void removeItem(const QString &path) = 0;
    /// Fails when something already exists at `destination`. Throws.
    virtual void moveItem(const QString &source, const QString &destination) = 0;
    /// Describes `path` itself: a symbolic link is reported as a link. Throws.
    [[nodiscard]] virtual FileAttributes attributesOfItem(const QString &path) const = 0;
    /// Describes what `path` leads to, following symbolic links. Throws.
    [[nodiscard]] virtual FileAttributes attributesOfDestination(const QString &path) const = 0;
    /// Sets permission bits (e.g. 0700) of `path`, following a symbolic link. Throws.
    virtual void setPosixPermissions(const QString &path, unsigned permissions) = 0;

    /// The file's text. Throws, also when the file is not valid UTF-8.
    [[nodiscard]] virtual QString readString(const QString &path) const = 0;
    /// The file's bytes, exactly as stored (a byte-order mark and text in any encoding included).
    /// Throws.
    [[nodiscard]] virtual QByteArray readData(const QString &path) const = 0;
    /// The SHA-256 digest of the file as 64 lower-case hex digits, read in pieces. Throws.
    [[nodiscard]] virtual QString sha256Hex(const QString &path) const = 0;
    /// Replaces the file's contents atomically with `text` as UTF-8: readers see the old text or
    /// the new, never a mix. A symbolic link stays a link and its target gets the text; an
    /// existing file keeps its permission bits. Throws, e.g. when the directory does not exist.
    virtual void writeString(const QString &path, const QString &text) = 0;
    /// writeString for bytes: atomic, through a symbolic link, keeping permission bits. Throws.
    virtual void writeData(const QString &path, const QByteArray &bytes) = 0;
    /// Adds `bytes` at the end of an existing file in place, so every hard link to it sees them.
    /// Not atomic: a reader may see part of them. Throws, also when there is no file.
    virtual void appendData(const QString &path, const QByteArray &bytes) = 0;
    /// Creates a new file in the folder of `neighbour`, named after it plus a unique suffix,
    /// holding `bytes`; `permissions` are set before any byte is in it. Returns its path. Meant to
    /// be put in place with replaceItem. Throws, leaving nothing behind.
    [[nodiscard]] virtual QString writeStagedFile(const QString &neighbour, const QByteArray &bytes, unsigned permissions) = 0;
    /// Renames the file `source` to `destination` in one step, replacing a file or a symbolic link there
    /// (the link itself, never what it points to). A folder at `destination` is an error. Throws.
    virtual void replaceItem(const QString &source, const QString &destination) = 0;
};
