#include "StandIns.h"
#include "diagnosis/Verifier.h"
#include "diagnosis/XcodeCLTProbe.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

const QByteArray kJavaBanner = "openjdk version \"21.0.2\" 2024-01-16 LTS\n"
                               "OpenJDK Runtime Environment Temurin-21.0.2+13 (build 21.0.2+13-LTS)\n"
                               "OpenJDK 64-Bit Server VM Temurin-21.0.2+13 (build 21.0.2+13-LTS, mixed mode)\n";

void writeFile(const QString &path, const QByteArray &text, QFile::Permissions permissions = QFile::ReadOwner | QFile::WriteOwner)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
    file.setPermissions(permissions);
}

} // namespace

TEST(Verifier, ChecksJavaTheWayANewTerminalSeesIt)
{
    // A JDK whose `java` prints a real banner on stderr, put on the PATH by the start-up file named.
    QTemporaryDir home;
    QDir(home.path()).mkpath(QStringLiteral("jdk/bin"));
    writeFile(home.filePath(QStringLiteral("jdk/bin/java")), "#!/bin/sh\n/bin/cat >&2 <<'EOF'\n" + kJavaBanner + "EOF\n",
              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const QByteArray exports = "export JAVA_HOME=" + home.filePath(QStringLiteral("jdk")).toUtf8() + "\nexport PATH=$JAVA_HOME/bin:$PATH\n";
    const struct {
        const char *name;
        QString startupFile;
        QByteArray text;
        bool passes;
    } cases[] = {
        {"set in .zprofile", QStringLiteral(".zprofile"), exports, true},
        {"set in .zshrc only (SDKMAN, Mise, jEnv)", QStringLiteral(".zshrc"), exports, true},
        {"JAVA_HOME exported empty, no java", QStringLiteral(".zprofile"), "export JAVA_HOME=\n", false},
    };
    for (const auto &c : cases) {
        QFile::remove(home.filePath(QStringLiteral(".zprofile")));
        QFile::remove(home.filePath(QStringLiteral(".zshrc")));
        writeFile(home.filePath(c.startupFile), c.text);
        StandIns mac;
        // A PATH without any java of this machine's own.
        mac.setEnvironment({{QStringLiteral("HOME"), home.path()}, {QStringLiteral("PATH"), home.filePath(QStringLiteral("empty"))}});

        const Verifier::Result result = Verifier(mac.shell(), 5s).verify();
        if (c.passes) {
            EXPECT_EQ(result.javaVersionOutput, QString::fromUtf8(kJavaBanner)) << c.name;
            EXPECT_EQ(result.javaVersionExitCode, 0) << c.name;
            EXPECT_EQ(result.javaHomeValue, home.filePath(QStringLiteral("jdk"))) << c.name;
        } else {
            // The failure is kept for the screen to show.
            EXPECT_TRUE(result.javaVersionOutput.contains(QStringLiteral("command not found: java"))) << result.javaVersionOutput.toStdString();
            EXPECT_EQ(result.javaVersionExitCode, 127) << c.name;
            EXPECT_EQ(result.javaHomeValue, std::nullopt) << c.name;
        }
    }
}

TEST(Verifier, AShellThatCannotStartIsAFailedCheck)
{
    StandIns mac;
    mac.remove(QStringLiteral("/bin/zsh"));
    const Verifier::Result result = Verifier(mac.shell()).verify();
    EXPECT_EQ(result, (Verifier::Result {QStringLiteral("Failed to start /bin/zsh: No such file or directory"), -1, std::nullopt}));
}

TEST(XcodeCLTProbe, ReadsTheToolsFolder)
{
    const struct {
        QByteArray script;
        std::optional<QString> expected;
    } cases[] = {
        {"echo /Library/Developer/CommandLineTools", QStringLiteral("/Library/Developer/CommandLineTools")},
        {"printf '/Applications/Xcode.app/Contents/Developer\\n\\n'", QStringLiteral("/Applications/Xcode.app/Contents/Developer")},
        {"echo 'xcode-select: error: unable to get active developer directory' >&2; exit 2", std::nullopt},
        {"echo /Library/Developer/CommandLineTools; exit 1", std::nullopt},
        {"echo '   '", std::nullopt},
    };
    for (const auto &c : cases) {
        StandIns mac;
        mac.add(QStringLiteral("/usr/bin/xcode-select"), c.script);
        EXPECT_EQ(XcodeCLTProbe(mac.shell()).probe(), c.expected) << c.script.constData();
    }
    StandIns bare;
    bare.remove(QStringLiteral("/usr/bin/xcode-select"));
    EXPECT_EQ(XcodeCLTProbe(bare.shell()).probe(), std::nullopt);
}
