#include "ScriptFolder.h"
#include "services/LineSplitter.h"
#include "services/LiveProcessRunner.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <future>
#include <thread>

namespace {

const LiveProcessRunner runner;

ProcessResult sh(const QString &script, const std::optional<Environment> &environment = std::nullopt)
{
    return runner.run(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script}, environment);
}

struct Streamed {
    QStringList lines;
    ProcessStreamEvent end;
};

Streamed streamSh(const QString &script, ProcessCancellation &cancellation,
                  const std::function<void(const QString &)> &alsoOnLine = {})
{
    Streamed result;
    result.end = runner.stream(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script}, std::nullopt,
                               cancellation, [&](const QString &line) {
                                   result.lines.append(line);
                                   if (alsoOnLine)
                                       alsoOnLine(line);
                               });
    return result;
}

// The state letter of /proc/<pid>/stat: R, S, T (stopped), Z (exited, not yet reaped)…
QByteArray processState(pid_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return {};
    const QByteArray fields = stat.readAll();
    const qsizetype close = fields.lastIndexOf(')');
    return close < 0 ? QByteArray() : fields.mid(close + 2, 1);
}

// A process that has exited but not yet been reaped by its new parent counts as gone.
bool isAlive(pid_t pid)
{
    return ::kill(pid, 0) == 0 && processState(pid) != "Z";
}

bool goneWithin(pid_t pid, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (isAlive(pid)) {
        if (timer.elapsed() > milliseconds)
            return false;
        QThread::msleep(20);
    }
    return true;
}

} // namespace

TEST(LiveProcessRunner, KeepsStreamsApartAndDrainsBothWithoutDeadlockOrEndlessGrowth)
{
    // 2 MB on stderr before a single byte on stdout: a reader that waits on stdout first would
    // leave the child blocked on a full stderr pipe forever. Then more on stdout than we keep.
    const qsizetype kept = LiveProcessRunner::kKeptOutputBytes;
    const ProcessResult result = sh(QStringLiteral("head -c 2000000 /dev/zero | tr '\\0' e >&2; echo out;"
                                                   " head -c %1 /dev/zero | tr '\\0' o; echo end >&2").arg(3 * kept));
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.standardOutput.size(), kept);
    EXPECT_TRUE(result.standardOutput.startsWith(QStringLiteral("out\nooo")));
    EXPECT_EQ(result.standardError.size(), 2000000 + 4);
    EXPECT_TRUE(result.standardError.startsWith(QStringLiteral("eeee")) && result.standardError.endsWith(QStringLiteral("eend\n")));

    // A line that never ends arrives in bounded pieces, none of it lost, no character split.
    ProcessCancellation cancellation;
    const Streamed streamed = streamSh(QStringLiteral("printf l; head -c %1 /dev/zero | tr '\\0' '\\351' | iconv -f latin1 -t utf-8;"
                                                      " echo; echo after").arg(LineSplitter::kLongestLine), cancellation);
    ASSERT_GE(streamed.lines.size(), 3);
    EXPECT_EQ(streamed.lines.last(), QStringLiteral("after"));
    const QString whole = streamed.lines.mid(0, streamed.lines.size() - 1).join(QString());
    EXPECT_EQ(whole, QLatin1Char('l') + QString(LineSplitter::kLongestLine, QChar(0xE9)));
    for (const QString &piece : streamed.lines)
        EXPECT_LE(piece.toUtf8().size(), LineSplitter::kLongestLine);
}

TEST(LiveProcessRunner, ReportsExitCodesAndSignals)
{
    const struct {
        const char *script;
        std::int32_t expected;
    } cases[] = {
        {"exit 0", 0},
        {"exit 3", 3},
        {"exit 255", 255},
        {"kill -TERM $$", 128 + SIGTERM},
        {"kill -KILL $$", 128 + SIGKILL},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(sh(QString::fromLatin1(c.script)).exitCode, c.expected) << c.script;
        ProcessCancellation cancellation;
        EXPECT_EQ(streamSh(QString::fromLatin1(c.script), cancellation).end, ProcessStreamEvent::exited(c.expected))
            << c.script;
    }
}

TEST(LiveProcessRunner, ABadByteCostsOnlyItself)
{
    const ProcessResult result = sh(QStringLiteral("printf 'caf\\351\\n'; printf 'caf\\303\\251\\n' >&2"));
    EXPECT_EQ(result.standardOutput, QStringLiteral("caf\uFFFD\n"));
    EXPECT_EQ(result.standardError, QStringLiteral("café\n"));

    ProcessCancellation cancellation;
    const Streamed streamed = streamSh(QStringLiteral("printf 'caf\\351\\ncaf\\303\\251\\n'"), cancellation);
    EXPECT_EQ(streamed.lines, (QStringList {QStringLiteral("caf\uFFFD"), QStringLiteral("café")}));
}

TEST(LiveProcessRunner, GivesTheChildItsEnvironmentAndNoInput)
{
    const ProcessResult replaced = runner.run(QStringLiteral("/usr/bin/env"), {},
                                              Environment {{QStringLiteral("ONLY"), QStringLiteral("this one")}});
    EXPECT_EQ(replaced.standardOutput, QStringLiteral("ONLY=this one\n"));

    qputenv("TARNWICK_INHERITED", "from the parent");
    const ProcessResult inherited = runner.run(QStringLiteral("/usr/bin/env"), {}, std::nullopt);
    qunsetenv("TARNWICK_INHERITED");
    EXPECT_TRUE(inherited.standardOutput.contains(QStringLiteral("TARNWICK_INHERITED=from the parent\n")));

    // A profile that prompts must not wait forever for an answer nobody can type.
    EXPECT_EQ(sh(QStringLiteral("if read answer; then echo read:$answer; else echo eof; fi")).standardOutput, QStringLiteral("eof\n"));
}

TEST(LiveProcessRunner, ReportsProgramsThatCannotStart)
{
    ScriptFolder folder;
    const QString notExecutable = folder.write(QStringLiteral("plain"), "echo never");
    QFile::setPermissions(notExecutable, QFile::ReadOwner | QFile::WriteOwner);
    const struct {
        QString executable;
        QString message;
    } cases[] = {
        {QStringLiteral("/nonexistent/bin/tool"), QStringLiteral("No such file or directory")},
        {QDir::tempPath(), QStringLiteral("Is a directory")},
        {notExecutable, QStringLiteral("Permission denied")},
    };
    for (const auto &c : cases) {
        try {
            (void)runner.run(c.executable, {}, std::nullopt);
            ADD_FAILURE() << "run started " << c.executable.toStdString();
        } catch (const ProcessLaunchError &error) {
            EXPECT_EQ(error.executable(), c.executable);
            EXPECT_EQ(error.message(), c.message);
        }
        ProcessCancellation cancellation;
        int lines = 0;
        const ProcessStreamEvent end
            = runner.stream(c.executable, {}, std::nullopt, cancellation, [&](const QString &) { ++lines; });
        EXPECT_EQ(end, ProcessStreamEvent::failedToStart(c.message));
        EXPECT_EQ(lines, 0);
    }
}

TEST(LiveProcessRunner, StreamsMergedOutputInWriteOrder)
{
    ProcessCancellation cancellation;
    const Streamed streamed = streamSh(
        QStringLiteral("echo one; echo two >&2; echo three; echo four >&2; printf 'five\\r\\nsix\\rseven\\n\\nlast'"),
        cancellation);
    EXPECT_EQ(streamed.lines, (QStringList {"one", "two", "three", "four", "five", "six", "seven", "", "last"}));
    EXPECT_EQ(streamed.end, ProcessStreamEvent::exited(0));
}

TEST(LiveProcessRunner, DeliversEachLineWhileTheChildRuns)
{
    // The child waits for a file that we create only on seeing its first line: if lines were held
    // back until the exit, it would give up and say so.
    QTemporaryDir dir;
    const QString flag = dir.filePath(QStringLiteral("go"));
    ProcessCancellation cancellation;
    const Streamed streamed = streamSh(
        QStringLiteral("echo ready; i=0; while [ ! -e '%1' ] && [ $i -lt 100 ]; do sleep 0.1; i=$((i+1)); done;"
                       " [ -e '%1' ] && echo released || echo 'gave up'")
            .arg(flag),
        cancellation, [&](const QString &line) {
            if (line == QLatin1String("ready"))
                QFile(flag).open(QIODevice::WriteOnly);
        });
    EXPECT_EQ(streamed.lines, (QStringList {"ready", "released"}));
}

TEST(LiveProcessRunner, ReturnsWhenTheChildExitsThoughABackgroundGrandchildHoldsItsOutput)
{
    QElapsedTimer timer;
    timer.start();
    const ProcessResult result = sh(QStringLiteral("sleep 30 & echo $!"));
    EXPECT_LT(timer.elapsed(), 10000);
    const pid_t sleeper = result.standardOutput.trimmed().toInt();
    ASSERT_GT(sleeper, 0);
    EXPECT_TRUE(isAlive(sleeper)); // finishing the run does not kill what the child left running
    ::kill(sleeper, SIGKILL);

    ProcessCancellation cancellation;
    timer.restart();
    const Streamed streamed = streamSh(QStringLiteral("sleep 30 & echo $!; echo done"), cancellation);
    EXPECT_LT(timer.elapsed(), 10000);
    EXPECT_EQ(streamed.lines.value(1), QStringLiteral("done"));
    EXPECT_EQ(streamed.end, ProcessStreamEvent::exited(0));
    ::kill(streamed.lines.value(0).toInt(), SIGKILL);
}

TEST(LiveProcessRunner, CancellingEndsTheWholeProcessTree)
{
    // A login zsh starts a background sleep and waits for it; we cancel once both have told us
    // their pid.
    QTemporaryDir home;
    const Environment environment {{QStringLiteral("HOME"), home.path()}, {QStringLiteral("PATH"), QStringLiteral("/usr/bin:/bin")}};
    ProcessCancellation cancellation;
    QList<pid_t> pids;
    const ProcessStreamEvent end = runner.stream(
        QStringLiteral("/bin/zsh"), {QStringLiteral("-lc"), QStringLiteral("sleep 300 & echo $!; echo $$; wait")},
        environment, cancellation, [&](const QString &line) {
            pids.append(line.toInt());
            if (pids.size() == 2)
                cancellation.cancel();
        });
    ASSERT_EQ(pids.size(), 2);
    EXPECT_EQ(end, ProcessStreamEvent::exited(128 + SIGTERM));
    for (pid_t pid : pids)
        EXPECT_TRUE(goneWithin(pid, 5000)) << "pid " << pid << " is still running";

    cancellation.cancel(); // twice, and after the exit: nothing happens
    EXPECT_TRUE(cancellation.isCanceled());
}

TEST(LiveProcessRunner, KillsWhatIgnoresTheTerminateSignal)
{
    ProcessCancellation cancellation;
    QElapsedTimer timer;
    const Streamed streamed = streamSh(QStringLiteral("trap '' TERM; echo ready; sleep 300; echo woke"), cancellation,
                                       [&](const QString &line) {
                                           if (line == QLatin1String("ready")) {
                                               timer.start();
                                               cancellation.cancel();
                                           }
                                       });
    EXPECT_EQ(streamed.end, ProcessStreamEvent::exited(128 + SIGKILL));
    EXPECT_EQ(streamed.lines, QStringList {"ready"});
    EXPECT_LT(timer.elapsed(), 10000);
}

TEST(LiveProcessRunner, AStoppedChildIsNeitherFinishedNorBeyondACancel)
{
    // The shell stops its whole group (itself and a background sleep). Once it is stopped, and
    // well past any interval at which the runner looks for an exit, the test either continues the
    // group, after which the shell still has lines to write and its own exit code, or cancels.
    const struct {
        bool cancel;
        QStringList lines;
        ProcessStreamEvent end;
    } cases[] = {
        {false, {"before", "after"}, ProcessStreamEvent::exited(7)},
        {true, {"before"}, ProcessStreamEvent::exited(128 + SIGTERM)},
    };
    for (const auto &c : cases) {
        ProcessCancellation cancellation;
        std::future<void> wakeOrCancel;
        QElapsedTimer sinceCancel;
        QList<pid_t> pids;
        const Streamed streamed = streamSh(
            QStringLiteral("sleep 300 & echo $$ $!; echo before; kill -STOP 0; echo after; kill $!; exit 7"), cancellation,
            [&](const QString &line) {
                if (!pids.isEmpty())
                    return;
                for (const QString &pid : line.split(QLatin1Char(' ')))
                    pids.append(pid.toInt());
                wakeOrCancel = std::async(std::launch::async, [&, shell = pids.value(0)] {
                    for (int i = 0; i < 500 && processState(shell) != "T"; ++i)
                        QThread::msleep(10);
                    QThread::msleep(200);
                    sinceCancel.start();
                    if (c.cancel)
                        cancellation.cancel();
                    else
                        ::kill(-shell, SIGCONT);
                });
            });
        wakeOrCancel.wait();
        EXPECT_EQ(streamed.lines.mid(1), c.lines) << "cancel " << c.cancel;
        EXPECT_EQ(streamed.end, c.end) << "cancel " << c.cancel;
        if (c.cancel) {
            EXPECT_LT(sinceCancel.elapsed(), 1500); // no waiting out the grace before SIGKILL
        }
        for (pid_t pid : pids)
            EXPECT_TRUE(goneWithin(pid, 5000)) << "pid " << pid << " is still running";
    }
}

TEST(LiveProcessRunner, CancelledBeforeTheStartEndsTheChildAtOnce)
{
    ProcessCancellation cancellation;
    cancellation.cancel();
    QElapsedTimer timer;
    timer.start();
    const Streamed streamed = streamSh(QStringLiteral("sleep 300"), cancellation);
    EXPECT_EQ(streamed.end, ProcessStreamEvent::exited(128 + SIGTERM));
    EXPECT_LT(timer.elapsed(), 10000);
}

TEST(LiveProcessRunner, CancelRacingTheExitStillEndsTheRunOnce)
{
    for (int round = 0; round < 40; ++round) {
        ProcessCancellation cancellation;
        auto canceller = std::async(std::launch::async, [&cancellation, round] {
            std::this_thread::sleep_for(std::chrono::microseconds(round * 250));
            cancellation.cancel();
        });
        const Streamed streamed = streamSh(QStringLiteral("echo x"), cancellation);
        canceller.wait();
        ASSERT_EQ(streamed.end.kind, ProcessStreamEvent::Kind::exited) << "round " << round;
        const bool ranToTheEnd = streamed.end.code == 0 && streamed.lines == QStringList {"x"};
        const bool wasTerminated = streamed.end.code == 128 + SIGTERM;
        EXPECT_TRUE(ranToTheEnd || wasTerminated) << "round " << round << " code " << streamed.end.code;
    }
}

TEST(LiveProcessRunner, RunsFromManyThreadsAtOnce)
{
    std::vector<std::future<ProcessResult>> runs;
    for (int i = 0; i < 8; ++i)
        runs.push_back(std::async(std::launch::async, [i] { return sh(QStringLiteral("sleep 0.2; echo %1").arg(i)); }));
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(runs[i].get().standardOutput, QStringLiteral("%1\n").arg(i));
}
