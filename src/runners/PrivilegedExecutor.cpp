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

    m_fs->createDirectory(directory, true);
    m_fs->writeString(askpass, askpassScript(prompt));
    m_fs->setPosixPermissions(askpass, 0700);
    m_fs->writeString(wrapper, sudoWrapper());
    m_fs->setPosixPermissions(wrapper, 0700);

    QString path = qEnvironmentVariable("PATH");
    if (path.isEmpty())
        path = QStringLiteral("/usr/bin:/bin:/usr/sbin:/sbin");
    auto fs = m_fs;
    return Prepared {
        {{QStringLiteral("PATH"), directory + QLatin1Char(':') + path}, {QStringLiteral("SUDO_ASKPASS"), askpass}},
        [fs, directory] {
            try {
                fs->removeItem(directory);
            } catch (const FileSystemError &) {
                // Already gone: fine.
            }
        },
    };
}

Environment appEnvironmentWith(const Environment &overlay)
{
    Environment environment = appEnvironment();
    environment.insert(overlay);
    return environment;
}
