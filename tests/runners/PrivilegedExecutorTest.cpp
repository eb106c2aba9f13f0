#include "runners/PrivilegedExecutor.h"
#include "services/LiveFileSystem.h"

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
    const PrivilegedExecutor::Prepared prepared =
        PrivilegedExecutor(fs).prepare(QStringLiteral("Enter Mac password to install Temurin to /Library/Java/JavaVirtualMachines/"));

    const QStringList folders = QDir(temporary.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    ASSERT_EQ(folders.size(), 1);
    EXPECT_TRUE(QRegularExpression(QStringLiteral("^twk-priv-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"))
                    .match(folders[0])
                    .hasMatch())
        << folders[0].toStdString();
    const QString folder = temporary.filePath(folders[0]);

    EXPECT_EQ(contents(folder + QStringLiteral("/askpass.sh")),
              QByteArray("#!/bin/bash\nosascript <<EOF\ndisplay dialog \"Enter Mac password to install Temurin to "
                         "/Library/Java/JavaVirtualMachines/\" default answer \"\" with hidden answer with title \"Tarnwick\" "
                         "with icon caution\nreturn text returned of result\nEOF"));
    EXPECT_EQ(contents(folder + QStringLiteral("/sudo")), QByteArray("#!/bin/bash\nexec /usr/bin/sudo -A \"$@\""));
    for (const char *script : {"/askpass.sh", "/sudo"})
        EXPECT_EQ(fs->attributesOfItem(folder + QLatin1String(script)).posixPermissions, 0700u) << script;

    EXPECT_EQ(prepared.environment.keys(), (QStringList {"PATH", "SUDO_ASKPASS"}));
    EXPECT_EQ(prepared.environment.value("SUDO_ASKPASS"), folder + QStringLiteral("/askpass.sh"));
    EXPECT_EQ(prepared.environment.value("PATH"), folder + QLatin1Char(':') + qEnvironmentVariable("PATH"));

    prepared.cleanup();
    EXPECT_FALSE(QFileInfo::exists(folder));
    prepared.cleanup(); // twice: harmless

    // Two preparations never share a folder; without a PATH the system's default follows ours.
    const QByteArray path = qgetenv("PATH");
    qunsetenv("PATH");
    const PrivilegedExecutor::Prepared first = PrivilegedExecutor(fs).prepare(QStringLiteral("x"));
    const PrivilegedExecutor::Prepared second = PrivilegedExecutor(fs).prepare(QStringLiteral("x"));
    qputenv("PATH", path);
    EXPECT_NE(first.environment.value("SUDO_ASKPASS"), second.environment.value("SUDO_ASKPASS"));
    EXPECT_TRUE(first.environment.value("PATH").endsWith(QStringLiteral(":/usr/bin:/bin:/usr/sbin:/sbin")));
    first.cleanup();
    second.cleanup();
    EXPECT_TRUE(QDir(temporary.path()).isEmpty());
}

TEST(PrivilegedExecutor, EscapesThePromptForAppleScript)
{
    const struct {
        QString prompt;
        QString written;
    } cases[] = {
        {QStringLiteral("Say \"yes\""), QStringLiteral("Say \\\"yes\\\"")},
        {QStringLiteral("C:\\path"), QStringLiteral("C:\\\\path")},
        {QStringLiteral("a\\\"b"), QStringLiteral("a\\\\\\\"b")}, // backslash-quote becomes three backslashes and a quote
    };
    for (const auto &c : cases) {
        const QString script = PrivilegedExecutor::askpassScript(c.prompt);
        EXPECT_TRUE(script.contains(QStringLiteral("display dialog \"") + c.written + QStringLiteral("\" default answer")))
            << script.toStdString();
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
