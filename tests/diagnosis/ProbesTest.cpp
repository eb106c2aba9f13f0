#include "StandIns.h"
#include "diagnosis/LoginShell.h"
#include "diagnosis/Probes.h"
#include "simulated/InMemoryFileSystem.h"

#include <QElapsedTimer>
#include <QScopeGuard>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

// A throw-away home folder for a real /bin/zsh, with the start-up files given.
class Home {
public:
    explicit Home(const QList<std::pair<QString, QByteArray>> &files)
    {
        for (const auto &[name, text] : files) {
            QFile file(m_dir.filePath(name));
            EXPECT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(text);
        }
    }
    [[nodiscard]] QString path() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
};

} // namespace

TEST(MarkerValue, TheLastMarkerLineWins)
{
    const QString marker = QStringLiteral("__TWK_JAVA_HOME__:");
    const struct {
        const char *output;
        std::optional<QString> expected;
    } cases[] = {
        {"__TWK_JAVA_HOME__:/Library/Java/Home\n", QStringLiteral("/Library/Java/Home")},
        {"Welcome!\n\n__TWK_JAVA_HOME__: \t/Library/Java/Home \t\n\n", QStringLiteral("/Library/Java/Home")},
        {"__TWK_JAVA_HOME__:/from/banner\nmore banner\n__TWK_JAVA_HOME__:/real\n", QStringLiteral("/real")},
        {"__TWK_JAVA_HOME__:/earlier\n__TWK_JAVA_HOME__:   \n", std::nullopt}, // earlier lines don't count
        {"__TWK_JAVA_HOME__:\n", std::nullopt},
        {"zsh: no such file\n", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto &c : cases)
        EXPECT_EQ(markerValue(QString::fromUtf8(c.output), marker), c.expected) << c.output;
}

TEST(Probes, ReadEveryFieldFromTheMac)
{
    StandIns mac;
    mac.add(QStringLiteral("/usr/bin/which"), "[ \"$1\" = java ] && echo /usr/bin/java");
    // java_home prints its listing on stderr.
    mac.add(QStringLiteral("/usr/libexec/java_home"),
            "cat >&2 <<'EOF'\n"
            "Matching Java Virtual Machines (1):\n"
            "    21.0.2 (arm64) \"Eclipse Adoptium\" - \"OpenJDK 21.0.2\" /Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home\n"
            "/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home\n"
            "EOF\n"
            // A byte that is not UTF-8 costs only its own character.
            "printf '    17.0.10 (x86_64) \"Azul\\377\" - \"Zulu\" /Library/Java/JavaVirtualMachines/zulu-17.jdk/Contents/Home\\n' >&2\n"
            "echo /Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home");
    const Home home(QList<std::pair<QString, QByteArray>> {
        {QStringLiteral(".zprofile"), "echo 'Last login: Tue'\nexport JAVA_HOME=/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home\n"}});
    mac.setEnvironment({{QStringLiteral("HOME"), home.path()}});
    auto fs = std::make_shared<InMemoryFileSystem>();
    fs->addDirectory(QStringLiteral("/Library/Java/JavaVirtualMachines/temurin-21.jdk"));

    const ProbeBundle bundle = Probes(mac.shell(), fs).run();
    EXPECT_EQ(bundle.whichJava, QStringLiteral("/usr/bin/java"));
    EXPECT_EQ(bundle.installedJDKs,
              (QList<JDKInfo> {{"21.0.2", "Eclipse Adoptium", "arm64", "/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home"},
                               {"17.0.10", "Azul\uFFFD", "x86_64", "/Library/Java/JavaVirtualMachines/zulu-17.jdk/Contents/Home"}}));
    EXPECT_EQ(bundle.jvmDirContents, QStringList {"temurin-21.jdk"});
    EXPECT_EQ(bundle.javaHomeInActiveShell, QStringLiteral("/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home"));
}

TEST(Probes, AskTheLoginShellAndThenTheInteractiveOne)
{
    // Real zsh, real start-up files in a throw-away home, asked from a Terminal window whose
    // JAVA_HOME the profile files know nothing of.
    const std::pair<const char *, QByteArray> terminal[] = {{"JAVA_HOME", "/from/the/caller"}, {"TERM_PROGRAM", "Apple_Terminal"},
                                                            {"TERM_SESSION_ID", "w0t0p0:1"}, {"PATH", "/from/the/caller/bin:" + qgetenv("PATH")}};
    QList<std::pair<const char *, std::optional<QByteArray>>> saved;
    for (const auto &[name, value] : terminal) {
        saved.append({name, qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt});
        qputenv(name, value);
    }
    const auto restore = qScopeGuard([&saved] {
        for (const auto &[name, value] : saved)
            value ? qputenv(name, *value) : qunsetenv(name);
    });
    const struct {
        const char *name;
        QList<std::pair<QString, QByteArray>> files;
        std::optional<QString> expected;
        bool timedOut = false;
    } cases[] = {
        {"exported in .zprofile behind a banner",
         {{".zprofile", "echo '  Welcome to your Mac  '\nexport JAVA_HOME=/opt/jdk\n"}}, QStringLiteral("/opt/jdk")},
        {"a banner that prints the marker itself", {{".zprofile", "echo '__TWK_JAVA_HOME__:/fake'\nexport JAVA_HOME=/real\n"}}, QStringLiteral("/real")},
        {"exported empty", {{".zprofile", "export JAVA_HOME=\n"}}, std::nullopt},
        {"exported as blanks", {{".zprofile", "export JAVA_HOME='   '\n"}}, std::nullopt},
        {"only in .zshrc, as SDKMAN users have it",
         {{".zprofile", "echo hello\n"}, {".zshrc", "export JAVA_HOME=$HOME/.sdkman/candidates/java/current\n"}},
         QStringLiteral("%HOME%/.sdkman/candidates/java/current")},
        {".zprofile wins over .zshrc", {{".zprofile", "export JAVA_HOME=/first\n"}, {".zshrc", "export JAVA_HOME=/second\n"}},
         QStringLiteral("/first")},
        {"a .zshrc that hangs", {{".zshrc", "sleep 30\nexport JAVA_HOME=/never\n"}}, std::nullopt},
        {"a .zprofile that hangs", {{".zprofile", "sleep 30\nexport JAVA_HOME=/never\n"}, {".zshrc", "export JAVA_HOME=/never\n"}}, std::nullopt, true},
        {"backslashes in the value are kept", {{".zprofile", "export JAVA_HOME='/a\\nb\\c d'\n"}}, QStringLiteral("/a\\nb\\c d")},
        {"nothing at all", {}, std::nullopt},
        {"what a new Terminal window starts from",
         {{".zprofile", "export JAVA_HOME=\"$TERM_PROGRAM|$TERM_SESSION_ID|$SHELL_SESSIONS_DISABLE|$PATH|${HOME:+home}\"\n"}},
         QStringLiteral("||1|/usr/bin:/bin:/usr/sbin:/sbin|home")},
    };
    for (const auto &c : cases) {
        const Home home(c.files);
        StandIns mac;
        mac.setEnvironment({{QStringLiteral("HOME"), home.path()}});
        QElapsedTimer timer;
        timer.start();
        std::optional<QString> expected = c.expected;
        if (expected)
            expected->replace(QStringLiteral("%HOME%"), home.path());
        const LoginShell::MarkedValue answer = Probes(mac.shell(), std::make_shared<InMemoryFileSystem>(), 1s).javaHomeInActiveShell();
        EXPECT_EQ(answer.value, expected) << c.name;
        EXPECT_EQ(answer.loginShellTimedOut, c.timedOut) << c.name;
        EXPECT_LT(timer.elapsed(), 10000) << c.name; // a hanging start-up file is stopped at its limit
    }
}
