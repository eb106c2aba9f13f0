#include "services/FileSystemOperating.h"

#include <cstring>

FileSystemError FileSystemError::fromErrno(const QString &verb, const QString &path, int errorCode)
{
    return FileSystemError(path,
                           QStringLiteral("Couldn't %1 “%2”: %3")
                               .arg(verb, path, QString::fromLocal8Bit(std::strerror(errorCode))),
                           errorCode);
}

FileSystemError FileSystemError::withReason(const QString &verb, const QString &path, const QString &reason)
{
    return FileSystemError(path, QStringLiteral("Couldn't %1 “%2”: %3").arg(verb, path, reason));
}
