#include "services/LiveFileSystem.h"

#include "services/Sha256.h"

#include "services/Utf8.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray native(const QString &path)
{
    return QFile::encodeName(path);
}

[[noreturn]] void fail(const char *verb, const QString &path, int error)
{
    throw FileSystemError::fromErrno(QLatin1String(verb), path, error);
}

[[noreturn]] void fail(const char *verb, const QString &path, const QString &reason)
{
    throw FileSystemError::withReason(QLatin1String(verb), path, reason);
}

// Reading or writing a file's contents. A refusal by macOS's privacy protection names where the
// file really is: a profile linked into ~/Documents is blocked there, not in the home folder.
[[noreturn]] void failAccess(const char *verb, const QString &path, int error, const QString &home)
{
    const QString target = error == EPERM ? QFileInfo(path).canonicalFilePath() : QString();
    throw FileSystemError::accessFailure(QLatin1String(verb), path, error, target.isEmpty() ? path : target, home);
}

// The entries of a folder, without "." and ".."; a failure is reported as failing to `verb` it.
QStringList entryNames(const QString &path, const char *verb)
{
    DIR *directory = ::opendir(native(path).constData());
    if (!directory)
        fail(verb, path, errno);
    QStringList names;
    while (const dirent *entry = ::readdir(directory)) {
        const QString name = QFile::decodeName(entry->d_name);
        if (name != QLatin1String(".") && name != QLatin1String(".."))
            names.append(name);
    }
    ::closedir(directory);
    return names;
}

void removeTree(const QString &path)
{
    struct stat info {};
    if (::lstat(native(path).constData(), &info) != 0)
        fail("remove", path, errno);
    if (S_ISDIR(info.st_mode)) {
        for (const QString &name : entryNames(path, "remove"))
            removeTree(path + QLatin1Char('/') + name);
        if (::rmdir(native(path).constData()) != 0)
            fail("remove", path, errno);
        return;
    }
    if (::unlink(native(path).constData()) != 0)
        fail("remove", path, errno);
}

} // namespace

QString LiveFileSystem::homeDirectory() const
{
    return m_folders.home.isEmpty() ? QDir::homePath() : m_folders.home;
}

QString LiveFileSystem::temporaryDirectory() const
{
    return m_folders.temporary.isEmpty() ? QDir::tempPath() : m_folders.temporary;
}

QString LiveFileSystem::cachesDirectory() const
{
    return m_folders.caches.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) : m_folders.caches;
}

QString LiveFileSystem::applicationSupportDirectory() const
{
    return m_folders.applicationSupport.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                                                  : m_folders.applicationSupport;
}

bool LiveFileSystem::fileExists(const QString &path) const
{
    struct stat info {};
    return ::stat(native(path).constData(), &info) == 0;
}

FileExistence LiveFileSystem::fileExistence(const QString &path) const
{
    struct stat info {};
    if (::stat(native(path).constData(), &info) != 0)
        return {};
    return {true, S_ISDIR(info.st_mode)};
}

bool LiveFileSystem::isExecutableFile(const QString &path) const
{
    struct stat info {};
    return ::stat(native(path).constData(), &info) == 0 && S_ISREG(info.st_mode)
        && ::access(native(path).constData(), X_OK) == 0;
}

QStringList LiveFileSystem::contentsOfDirectory(const QString &path) const
{
    return entryNames(path, "list");
}

void LiveFileSystem::createDirectory(const QString &path, Parents parents)
{
    if (parents == Parents::mustExist) {
        if (::mkdir(native(path).constData(), 0755) != 0)
            fail("create the folder", path, errno);
        return;
    }
    // Create each missing ancestor in turn, so the error names the level that failed.
    const QString clean = QDir::cleanPath(path);
    qsizetype next = 0;
    while (next >= 0) {
        next = clean.indexOf(QLatin1Char('/'), next + 1);
        const QString level = next < 0 ? clean : clean.left(next);
        if (level.isEmpty() || ::mkdir(native(level).constData(), 0755) == 0)
            continue;
        const int error = errno;
        struct stat info {};
        if (error == EEXIST && ::stat(native(level).constData(), &info) == 0 && S_ISDIR(info.st_mode))
            continue;
        fail("create the folder", level, error == EEXIST ? ENOTDIR : error);
    }
}

void LiveFileSystem::removeItem(const QString &path)
{
    removeTree(path);
}

void LiveFileSystem::moveItem(const QString &source, const QString &destination)
{
    struct stat info {};
    if (::lstat(native(destination).constData(), &info) == 0)
        fail("move an item to", destination, EEXIST);
    if (::rename(native(source).constData(), native(destination).constData()) == 0)
        return;
    const int error = errno;
    // Across volumes a regular file is copied, then the original removed.
    if (error == EXDEV && ::lstat(native(source).constData(), &info) == 0 && S_ISREG(info.st_mode)) {
        QFile file(source);
        if (!file.copy(destination))
            fail("move", source, file.errorString());
        if (::unlink(native(source).constData()) != 0)
            fail("remove", source, errno);
        return;
    }
    fail("move", source, error);
}

namespace {

FileAttributes attributesFrom(const struct stat &info)
{
    FileAttributes attributes;
    attributes.type = S_ISREG(info.st_mode)   ? FileType::regular
        : S_ISDIR(info.st_mode)               ? FileType::directory
        : S_ISLNK(info.st_mode)               ? FileType::symbolicLink
                                              : FileType::other;
    attributes.size = static_cast<qint64>(info.st_size);
    attributes.posixPermissions = info.st_mode & 07777;
    attributes.modificationDate = QDateTime::fromSecsSinceEpoch(static_cast<qint64>(info.st_mtime));
    attributes.linkCount = static_cast<qint64>(info.st_nlink);
    return attributes;
}

} // namespace

FileAttributes LiveFileSystem::attributesOfItem(const QString &path) const
{
    struct stat info {};
    if (::lstat(native(path).constData(), &info) != 0)
        fail("read the attributes of", path, errno);
    return attributesFrom(info);
}

FileAttributes LiveFileSystem::attributesOfDestination(const QString &path) const
{
    struct stat info {};
    if (::stat(native(path).constData(), &info) != 0)
        fail("read the attributes of", path, errno);
    return attributesFrom(info);
}

QString LiveFileSystem::sha256Hex(const QString &path) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        fail("read", path, file.errorString());
    Sha256 hash;
    QByteArray block(1024 * 1024, Qt::Uninitialized);
    for (;;) {
        const qint64 read = file.read(block.data(), block.size());
        if (read < 0)
            fail("read", path, file.errorString());
        if (read == 0)
            return hash.hexDigest();
        hash.add(QByteArrayView(block.constData(), read));
    }
}

void LiveFileSystem::setPosixPermissions(const QString &path, unsigned permissions)
{
    if (::chmod(native(path).constData(), static_cast<mode_t>(permissions)) != 0)
        fail("change the permissions of", path, errno);
}

QByteArray LiveFileSystem::readData(const QString &path) const
{
    const int fd = ::open(native(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        failAccess("read", path, errno, homeDirectory());
    QByteArray bytes;
    char buffer[65536];
    for (;;) {
        const ssize_t count = ::read(fd, buffer, sizeof buffer);
        if (count > 0) {
            bytes.append(buffer, count);
            continue;
        }
        if (count < 0 && errno == EINTR)
            continue;
        const int error = errno;
        ::close(fd);
        if (count < 0)
            failAccess("read", path, error, homeDirectory()); // e.g. a directory: "Is a directory"
        break;
    }
    return bytes;
}

QString LiveFileSystem::readString(const QString &path) const
{
    std::optional<QString> text = decodeUtf8(readData(path));
    if (!text)
        fail("read", path, QStringLiteral("the file is not UTF-8 text"));
    return *text;
}

void LiveFileSystem::writeString(const QString &path, const QString &text)
{
    writeData(path, text.toUtf8());
}

void LiveFileSystem::writeData(const QString &path, const QByteArray &bytes)
{
    // QSaveFile writes a temporary file beside the target and renames it over the target; for a
    // symbolic link it does that beside the link's target, and it keeps the target's permissions.
    QSaveFile file(path);
    bool written = file.open(QIODevice::WriteOnly);
    written = written && file.write(bytes) == bytes.size() && file.commit();
    if (!written) {
        // QSaveFile keeps no errno, only its text, which for EPERM is the platform's own.
        if (file.errorString() == QString::fromLocal8Bit(std::strerror(EPERM)))
            failAccess("write", path, EPERM, homeDirectory());
        fail("write", path, file.errorString());
    }
}

namespace {

// All of `bytes` to `fd`, then to the disk; the errno of the first failure, or 0.
int writeAll(int fd, const QByteArray &bytes)
{
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(fd, bytes.constData() + done, static_cast<size_t>(bytes.size() - done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return errno;
        done += count;
    }
    return ::fsync(fd) == 0 ? 0 : errno;
}

} // namespace

void LiveFileSystem::appendData(const QString &path, const QByteArray &bytes)
{
    const int fd = ::open(native(path).constData(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (fd < 0)
        failAccess("write", path, errno, homeDirectory());
    const int error = writeAll(fd, bytes);
    ::close(fd);
    if (error != 0)
        failAccess("write", path, error, homeDirectory());
}

QString LiveFileSystem::writeStagedFile(const QString &neighbour, const QByteArray &bytes, unsigned permissions)
{
    QByteArray name = native(neighbour + QStringLiteral(".tarnwick-XXXXXX"));
    // mkostemp creates the file 0600; the wanted bits follow before the first byte.
    const int fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd < 0)
        failAccess("write", neighbour, errno, homeDirectory());
    int error = ::fchmod(fd, static_cast<mode_t>(permissions & 07777)) == 0 ? 0 : errno;
    if (error == 0)
        error = writeAll(fd, bytes);
    // On disk before it can be renamed into place: a backup must survive a power cut too.
    if (error == 0 && ::fsync(fd) != 0)
        error = errno;
    ::close(fd);
    if (error != 0) {
        ::unlink(name.constData());
        failAccess("write", neighbour, error, homeDirectory());
    }
    return QFile::decodeName(name);
}

void LiveFileSystem::replaceItem(const QString &source, const QString &destination)
{
    struct stat info {};
    // rename(2) would put a folder over an empty folder; someone's folder is never replaced.
    if (::lstat(native(destination).constData(), &info) == 0 && S_ISDIR(info.st_mode))
        fail("replace", destination, EISDIR);
    if (::rename(native(source).constData(), native(destination).constData()) != 0)
        failAccess("replace", destination, errno, homeDirectory());
}
