#include "services/FileSystemOperating.h"

#include <cerrno>
#include <cstring>

FileSystemError FileSystemError::fromErrno(const QString &verb, const QString &path, int errorCode)
{
    const QString reason = QString::fromLocal8Bit(std::strerror(errorCode));
    return FileSystemError(path, QStringLiteral("Couldn't %1 “%2”: %3").arg(verb, path, reason), errorCode, reason);
}

FileSystemError FileSystemError::withReason(const QString &verb, const QString &path, const QString &reason)
{
    return FileSystemError(path, QStringLiteral("Couldn't %1 “%2”: %3").arg(verb, path, reason), 0, reason);
}

FileSystemError FileSystemError::accessFailure(const QString &verb, const QString &path, int errorCode,
                                               const QString &blockedPath, const QString &home)
{
    if (errorCode != EPERM)
        return fromErrno(verb, path, errorCode);
    QString shown = blockedPath;
    const QString homePrefix = home.endsWith(QLatin1Char('/')) ? home : home + QLatin1Char('/');
    if (!home.isEmpty() && shown == home)
        shown = QStringLiteral("~");
    else if (!home.isEmpty() && shown.startsWith(homePrefix))
        shown = QStringLiteral("~/") + shown.mid(homePrefix.size());
    const QString reason = QStringLiteral("macOS blocked access to %1 — allow it in System Settings › Privacy & Security").arg(shown);
    return FileSystemError(path, reason, errorCode, reason);
}
