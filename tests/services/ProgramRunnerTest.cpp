#include "ScriptFolder.h"
#include "services/LiveProcessRunner.h"
#include "services/ProgramRunner.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

ProgramRunner liveShell()
{
    return ProgramRunner(std::make_shared<LiveProcessRunner>());
}

struct Streamed {
    QList<StreamEvent> outputs;
    StreamEvent end;
};

Streamed stream(const ProgramRunner &shell, const QString &executable, const QStringList &arguments,
                ProcessCancellation &cancellation, const std::optional<Environment> &environment = std::nullopt)
{
    Streamed result;
    result.end = shell.stream(executable, arguments, environment, cancellation,
                              [&](const StreamEvent &event) { result.outputs.append(event); });
    return result;
}

} // namespace

TEST(ProgramRunner, ReportsAProgramThatCannotStartInBand)
{
    ProcessCancellation cancellation;
    const Streamed streamed = stream(liveShell(), QStringLiteral("/nonexistent/brew"), {QStringLiteral("install")}, cancellation);
    EXPECT_EQ(streamed.outputs,
              QList<StreamEvent> {StreamEvent::output(QStringLiteral("Failed to start /nonexistent/brew: No such file or directory"))});
    EXPECT_EQ(streamed.end, StreamEvent::completed(-1));

    EXPECT_THROW((void)liveShell().run(QStringLiteral("/nonexistent/brew"), {}), ProcessLaunchError);
}

TEST(ProgramRunner, MapsTheExitToCompletedAndACancelToCanceled)
{
    ProcessCancellation finished;
    const Streamed completed = stream(liveShell(), QStringLiteral("/bin/sh"),
                                      {QStringLiteral("-c"), QStringLiteral("echo working; exit 7")}, finished);
    EXPECT_EQ(completed.outputs, QList<StreamEvent> {StreamEvent::output(QStringLiteral("working"))});
    EXPECT_EQ(completed.end, StreamEvent::completed(7));

    // A cancelled run is never a failure, even though the child died of a signal.
    ProcessCancellation cancellation;
    const ProgramRunner shell = liveShell();
    const StreamEvent end = shell.stream(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("echo started; sleep 300")},
                                         std::nullopt, cancellation, [&](const StreamEvent &) { cancellation.cancel(); });
    EXPECT_EQ(end, StreamEvent::canceled());
}

TEST(ProgramRunner, StartsNothingOnceCancelled)
{
    ScriptFolder folder;
    const QString marker = folder.path(QStringLiteral("ran"));
    const QString script = folder.write(QStringLiteral("step"), QByteArray("touch '") + marker.toUtf8() + "'");
    ProcessCancellation cancellation;
    cancellation.cancel();
    const Streamed streamed = stream(liveShell(), script, {}, cancellation);
    EXPECT_EQ(streamed.end, StreamEvent::canceled());
    EXPECT_TRUE(streamed.outputs.isEmpty());
    EXPECT_FALSE(QFile::exists(marker));
}

TEST(ProgramRunner, LoginShellReturnsWhatTheProfilePrintsBeforeTheCommand)
{
    // A real zsh with a throw-away home whose .zprofile greets the user and exports JAVA_HOME.
    QTemporaryDir home;
    QFile profile(home.filePath(QStringLiteral(".zprofile")));
    ASSERT_TRUE(profile.open(QIODevice::WriteOnly));
    profile.write("echo 'Welcome back, Ada'\nexport JAVA_HOME=/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home\n");
    profile.close();
    const Environment environment {{QStringLiteral("HOME"), home.path()},
                                   {QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin")}};

    const ProgramRunner shell = liveShell();
    const ProcessResult result = shell.run(ProgramRunner::loginShell(),
                                           ProgramRunner::loginShellArguments(QStringLiteral("echo __TWK_JAVA_HOME__:$JAVA_HOME")),
                                           environment);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.standardOutput, QStringLiteral("Welcome back, Ada\n"
                                            "__TWK_JAVA_HOME__:/Library/Java/JavaVirtualMachines/temurin-21.jdk/Contents/Home\n"));

    ProcessCancellation cancellation;
    const Streamed streamed = stream(shell, ProgramRunner::loginShell(),
                                     ProgramRunner::loginShellArguments(QStringLiteral("echo done")), cancellation, environment);
    EXPECT_EQ(streamed.outputs, (QList<StreamEvent> {StreamEvent::output(QStringLiteral("Welcome back, Ada")),
                                                     StreamEvent::output(QStringLiteral("done"))}));
    EXPECT_EQ(streamed.end, StreamEvent::completed(0));
}
