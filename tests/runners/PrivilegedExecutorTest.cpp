#include "runners/PrivilegedExecutor.h"
#include "services/LiveFileSystem.h"
#include "services/LiveProcessRunner.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

} // namespace

TEST(PrivilegedExecutor, WritesBothScriptsPrivatelyAndCleansUp)
{
    QTemporaryDir temporary;
    auto fs = std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {{}, temporary.path(), {}, {}});
    PrivilegedExecutor::Prepared prepared =
        PrivilegedExecutor(fs).prepare(QStringLiteral("Enter Mac password to install Temurin to /Library/Java/JavaVirtualMachines/"));

    const QStringList folders = QDir(temporary.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    ASSERT_EQ(folders.size(), 1);
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^twk-priv-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"))
                    .match(folders[0])
                    .hasMatch())
        << folders[0].toStdString();
    const QString folder = temporary.filePath(folders[0]);

    EXPECT_EQ(contents(folder + QStringLiteral("/askpass.sh")), PrivilegedExecutor::askpassScript(QStringLiteral("Enter Mac password to install Temurin to /Library/Java/JavaVirtualMachines/")).toUtf8());
    EXPECT_EQ(contents(folder + QStringLiteral("/sudo")), QByteArray("#!/bin/bash\nexec /usr/bin/sudo -A \"$@\""));
    for (const char *script : {"/askpass.sh", "/sudo"})
        EXPECT_EQ(fs->attributesOfItem(folder + QLatin1String(script)).posixPermissions, 0700u) << script;

    EXPECT_EQ(prepared.environment.keys(), (QStringList {"PATH", "SUDO_ASKPASS"}));
    EXPECT_EQ(prepared.environment.value("SUDO_ASKPASS"), folder + QStringLiteral("/askpass.sh"));
    EXPECT_EQ(prepared.environment.value("PATH"), folder + QLatin1Char(':') + qEnvironmentVariable("PATH"));

    prepared.folder.remove();
    EXPECT_FALSE(QFileInfo::exists(folder));

    // Two preparations never share a folder; without a PATH the system's default follows ours.
    const QByteArray path = qgetenv("PATH");
    qunsetenv("PATH");
    {
        const PrivilegedExecutor::Prepared first = PrivilegedExecutor(fs).prepare(QStringLiteral("x"));
        const PrivilegedExecutor::Prepared second = PrivilegedExecutor(fs).prepare(QStringLiteral("x"));
        qputenv("PATH", path);
        EXPECT_NE(first.environment.value("SUDO_ASKPASS"), second.environment.value("SUDO_ASKPASS"));
        EXPECT_TRUE(first.environment.value("PATH").endsWith(QStringLiteral(":/usr/bin:/bin:/usr/sbin:/sbin")));
        EXPECT_EQ(QDir(temporary.path()).count(), 4u); // "." and ".." too
    }
    EXPECT_TRUE(QDir(temporary.path()).isEmpty()); // each folder went with its owner
}

TEST(PrivilegedExecutor, AnyPromptShowsLiterallyAndRunsNothing)
{
    // The askpass script run for real by bash, with the osascript stand-in as the dialog.
    QTemporaryDir temporary;
    ASSERT_TRUE(QFile::link(QStringLiteral(STANDINS_DIR "/osascript"), temporary.filePath(QStringLiteral("osascript"))));
    const QString canary = temporary.filePath(QStringLiteral("canary"));
    const QString prompts[] = {
        QStringLiteral("Say \"yes\""),
        QStringLiteral("C:\\path and a\\\"b"),
        QStringLiteral("$(touch %1) `touch %1` ${HOME} $HOME").arg(canary),
        QStringLiteral("one\nEOF\ntouch %1\n").arg(canary), // a line that would end an unquoted here-document
        QStringLiteral("\" & (do shell script \"touch %1\") & \"").arg(canary),
        QStringLiteral("tab\tcarriage\rreturn\\n"),
    };
    for (const QString &prompt : prompts) {
        const QString script = temporary.filePath(QStringLiteral("askpass.sh"));
        QFile file(script);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(PrivilegedExecutor::askpassScript(prompt).toUtf8());
        file.close();
        const QString shown = temporary.filePath(QStringLiteral("shown"));
        QFile::remove(shown);
        QFile::remove(canary);
        const ProcessResult result = LiveProcessRunner().run(
            QStringLiteral("/bin/bash"), {script},
            Environment {{QStringLiteral("PATH"), temporary.path() + QStringLiteral(":/usr/bin:/bin")},
                         {QStringLiteral("STANDIN_PROMPT_FILE"), shown}});
        EXPECT_EQ(result, (ProcessResult {0, QStringLiteral("hunter2\n"), QString()})) << prompt.toStdString();
        EXPECT_EQ(QString::fromUtf8(contents(shown)), prompt);
        EXPECT_FALSE(QFileInfo::exists(canary)) << prompt.toStdString();
    }
}

TEST(PrivilegedExecutor, ReportsWhereItCannotWrite)
{
    QTemporaryDir temporary;
    QFile blocker(temporary.filePath(QStringLiteral("not-a-folder")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    auto fs = std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {{}, blocker.fileName(), {}, {}});
    EXPECT_THROW((void)PrivilegedExecutor(fs).prepare(QStringLiteral("x")), FileSystemError);
}
