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
struct Home {
    explicit Home(const QList<std::pair<QString, QByteArray>> &files)
    {
        for (const auto &[name, text] : files) {
            QFile file(dir.filePath(name));
            EXPECT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(text);
        }
    }
    QTemporaryDir dir;
};

} // namespace

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
        {"a banner that prints the marker itself", {{".zprofile", "echo '__TWK_JAVA_HOME__:/fake'\nexport JAVA_HOME=/real\n"}}, QStringLiteral("/real")},
        {"only a banner's marker", {{".zprofile", "echo '__TWK_JAVA_HOME__:/fake'\n"}}, std::nullopt},
        {"exported as blanks", {{".zprofile", "export JAVA_HOME='   '\n"}}, std::nullopt},
        {"only in .zshrc, as SDKMAN users have it",
         {{".zprofile", "echo hello\n"}, {".zshrc", "export JAVA_HOME=$HOME/.sdkman/candidates/java/current\n"}},
         QStringLiteral("%HOME%/.sdkman/candidates/java/current")},
        {".zprofile wins over .zshrc", {{".zprofile", "export JAVA_HOME=/first\n"}, {".zshrc", "export JAVA_HOME=/second\n"}},
         QStringLiteral("/first")},
        {"a .zshrc that hangs", {{".zshrc", "sleep 30\nexport JAVA_HOME=/never\n"}}, std::nullopt},
        {"a .zprofile that hangs", {{".zprofile", "sleep 30\nexport JAVA_HOME=/never\n"}}, std::nullopt, true},
        {"backslashes in the value are kept", {{".zprofile", "export JAVA_HOME='/a\\nb\\c d'\n"}}, QStringLiteral("/a\\nb\\c d")},
        {"what a new Terminal window starts from",
         {{".zprofile", "export JAVA_HOME=\"$TERM_PROGRAM|$TERM_SESSION_ID|$SHELL_SESSIONS_DISABLE|$PATH|${HOME:+home}\"\n"}},
         QStringLiteral("||1|/usr/bin:/bin:/usr/sbin:/sbin|home")},
    };
    for (const auto &c : cases) {
        const Home home(c.files);
        StandIns mac;
        mac.setEnvironment({{QStringLiteral("HOME"), home.dir.path()}});
        QElapsedTimer timer;
        timer.start();
        std::optional<QString> expected = c.expected;
        if (expected)
            expected->replace(QStringLiteral("%HOME%"), home.dir.path());
        const LoginShell::MarkedValue answer = Probes(mac.shell(), std::make_shared<InMemoryFileSystem>(), 1s).javaHomeInActiveShell();
        EXPECT_EQ(answer.value, expected) << c.name;
        EXPECT_EQ(answer.loginShellTimedOut, c.timedOut) << c.name;
        EXPECT_LT(timer.elapsed(), 10000) << c.name; // a hanging start-up file is stopped at its limit
    }
}
