#include "runners/PrivilegedExecutor.h"

#include "runners/Quoting.h"

#include <QUuid>

QString PrivilegedExecutor::askpassScript(const QString &prompt)
{
    // A quoted here-document: bash expands nothing in it. The escaping keeps the prompt one line,
    // so no line of it can end the here-document either.
    return QStringLiteral("#!/bin/bash\nosascript <<'EOF'\ndisplay dialog \"") + Quoting::escapedForAppleScript(prompt)
        + QStringLiteral("\" default answer \"\" with hidden answer with title \"Tarnwick\" with icon caution\n"
                         "return text returned of result\nEOF");
}

QString PrivilegedExecutor::sudoWrapper()
{
    return QStringLiteral("#!/bin/bash\nexec /usr/bin/sudo -A \"$@\"");
}

PrivilegedExecutor::Prepared PrivilegedExecutor::prepare(const QString &prompt) const
{
    const QString directory = m_fs->temporaryDirectory() + QStringLiteral("/twk-priv-")
        + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    const QString askpass = directory + QStringLiteral("/askpass.sh");
    const QString wrapper = directory + QStringLiteral("/sudo");

    m_fs->createDirectory(directory, Parents::create);
    PrivateFolder folder(m_fs, directory); // from here on, a failure takes the folder with it
    // Closed before anything is in it: no one else may list or read what root is about to run.
    m_fs->setPosixPermissions(directory, 0700);
    m_fs->writeString(askpass, askpassScript(prompt));
    m_fs->setPosixPermissions(askpass, 0700);
    m_fs->writeString(wrapper, sudoWrapper());
    m_fs->setPosixPermissions(wrapper, 0700);

    QString path = qEnvironmentVariable("PATH");
    if (path.isEmpty())
        path = QStringLiteral("/usr/bin:/bin:/usr/sbin:/sbin");
    return Prepared {
        {{QStringLiteral("PATH"), directory + QLatin1Char(':') + path}, {QStringLiteral("SUDO_ASKPASS"), askpass}},
        std::move(folder),
    };
}

PrivilegedExecutor::PrivateFolder &PrivilegedExecutor::PrivateFolder::operator=(PrivateFolder &&other) noexcept
{
    if (this != &other) {
        remove();
        m_fs = std::move(other.m_fs);
        m_path = std::exchange(other.m_path, QString());
    }
    return *this;
}

void PrivilegedExecutor::PrivateFolder::remove() noexcept
{
    if (m_path.isEmpty())
        return;
    try {
        m_fs->removeItem(std::exchange(m_path, QString()));
    } catch (const FileSystemError &) {
        // Already gone: fine.
    }
}
