#include "ScriptFolder.h"
#include "services/LiveProcessRunner.h"
#include "services/ProgramRunner.h"

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
