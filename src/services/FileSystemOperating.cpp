#include "services/FileSystemOperating.h"

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
