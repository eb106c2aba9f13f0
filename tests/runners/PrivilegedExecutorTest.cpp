#include "ScriptFolder.h"
#include "runners/PrivilegedExecutor.h"
#include "services/LiveFileSystem.h"
#include "services/LiveProcessRunner.h"

#include <QDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

// The askpass script is run for real by bash, with the osascript stand-in as the dialog.
TEST(PrivilegedExecutor, WritesBothScriptsPrivatelyShowsAnyPromptLiterallyAndCleansUp)
{
    QTemporaryDir temporary;
    const QString tmp = temporary.filePath(u"tmp"_s), canary = temporary.filePath(u"canary"_s), shown = temporary.filePath(u"shown"_s);
    ASSERT_TRUE(QDir().mkpath(tmp) && QFile::link(QStringLiteral(STANDINS_DIR "/osascript"), temporary.filePath(u"osascript"_s)));
    auto fs = std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {{}, tmp, {}, {}});
    const QByteArray path = qgetenv("PATH");
    {
        const PrivilegedExecutor::Prepared prepared = PrivilegedExecutor(fs).prepare(u"Enter Mac password"_s);
        qunsetenv("PATH"); // without a PATH the system's default follows ours
        const PrivilegedExecutor::Prepared second = PrivilegedExecutor(fs).prepare(u"x"_s);
        qputenv("PATH", path);
        const QString folder = QFileInfo(prepared.environment.value("SUDO_ASKPASS")).path();
        EXPECT_EQ(QFileInfo(folder).path(), tmp);
        EXPECT_TRUE(QFileInfo(folder).fileName().contains(QRegularExpression(u"^twk-priv-[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}$"_s))) << folder.toStdString();
        EXPECT_EQ(fileContents(folder + "/askpass.sh"_L1), PrivilegedExecutor::askpassScript(u"Enter Mac password"_s).toUtf8());
        EXPECT_EQ(fileContents(folder + "/sudo"_L1), "#!/bin/bash\nexec /usr/bin/sudo -A \"$@\"");
        for (const QString &file : {folder, folder + "/askpass.sh"_L1, folder + "/sudo"_L1})
            EXPECT_EQ(fs->attributesOfItem(file).posixPermissions, 0700u) << file.toStdString();
        EXPECT_EQ(prepared.environment.keys(), (QStringList {"PATH", "SUDO_ASKPASS"}));
        EXPECT_EQ(prepared.environment.value("PATH"), folder + u':' + QString::fromLocal8Bit(path));
        EXPECT_NE(QFileInfo(second.environment.value("SUDO_ASKPASS")).path(), folder);
        EXPECT_TRUE(second.environment.value("PATH").endsWith(":/usr/bin:/bin:/usr/sbin:/sbin"_L1));
        EXPECT_EQ(QDir(tmp).count(), 4u); // "." and ".." too
    }
    const QString prompts[] = {
        u"Say \"yes\""_s, u"C:\\path and a\\\"b"_s, u"$(touch %1) `touch %1` ${HOME} $HOME"_s.arg(canary),
        u"one\nEOF\ntouch %1\n"_s.arg(canary), // a line that would end an unquoted here-document
        u"\" & (do shell script \"touch %1\") & \""_s.arg(canary), u"tab\tcarriage\rreturn\\n"_s,
    };
    for (const QString &prompt : prompts) {
        const PrivilegedExecutor::Prepared prepared = PrivilegedExecutor(fs).prepare(prompt); // the folder lives as long as this
        const ProcessResult result = LiveProcessRunner().run(
            u"/bin/bash"_s, {prepared.environment.value("SUDO_ASKPASS")}, Environment {{u"PATH"_s, temporary.path() + ":/usr/bin:/bin"_L1}, {u"STANDIN_PROMPT_FILE"_s, shown}});
        EXPECT_EQ(result, (ProcessResult {0, u"hunter2\n"_s, QString()})) << prompt.toStdString();
        EXPECT_EQ(QString::fromUtf8(fileContents(shown)), prompt);
        EXPECT_FALSE(QFileInfo::exists(canary)) << prompt.toStdString();
    }
    EXPECT_TRUE(QDir(tmp).isEmpty()); // each folder went with its owner

    // Where it cannot write, it says so.
    auto blocked = std::make_shared<LiveFileSystem>(LiveFileSystem::Folders {{}, shown, {}, {}});
    EXPECT_THROW((void)PrivilegedExecutor(blocked).prepare(u"x"_s), FileSystemError);
}
