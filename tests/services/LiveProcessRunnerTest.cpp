#include "ScriptFolder.h"
#include "services/LineSplitter.h"
#include "services/LiveProcessRunner.h"
#include "services/ProgramRunner.h"

#include <QDir>
#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <future>
#include <thread>

namespace {

const LiveProcessRunner runner;

ProcessResult sh(const QString &script)
{
    return runner.run(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script}, std::nullopt);
}

struct Streamed {
    QStringList lines;
    ProcessStreamEvent end;
};

Streamed streamSh(const QString &script, ProcessCancellation &cancellation, const std::function<void(const QString &)> &onLine = {})
{
    Streamed result;
    result.end = runner.stream(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), script}, std::nullopt, cancellation, [&](const QString &line) {
        result.lines.append(line);
        if (onLine)
            onLine(line);
    });
    return result;
}

// The state letter of /proc/<pid>/stat: T is stopped, Z exited but not yet reaped (counts as gone).
QByteArray processState(pid_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    const QByteArray fields = stat.open(QIODevice::ReadOnly) ? stat.readAll() : QByteArray();
    const qsizetype close = fields.lastIndexOf(')');
    return close < 0 ? QByteArray() : fields.mid(close + 2, 1);
}

bool goneWithin(pid_t pid, int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (::kill(pid, 0) == 0 && processState(pid) != "Z") {
        if (timer.elapsed() > milliseconds)
            return false;
        QThread::msleep(20);
    }
    return true;
}

} // namespace

TEST(LiveProcessRunner, KeepsStreamsApartAndDrainsBothWithoutDeadlockOrEndlessGrowth)
{
    // 2 MB on stderr before a byte on stdout: reading stdout first would block the child forever.
    const qsizetype kept = LiveProcessRunner::kKeptOutputBytes;
    const ProcessResult result = sh(QStringLiteral("head -c 2000000 /dev/zero | tr '\\0' e >&2; echo out;"
                                                   " head -c %1 /dev/zero | tr '\\0' o; echo end >&2").arg(3 * kept));
    EXPECT_EQ(result.standardOutput.size(), kept);
    EXPECT_TRUE(result.standardOutput.startsWith(QStringLiteral("out\nooo")));
    EXPECT_EQ(result.standardError.size(), 2000000 + 4);
    EXPECT_TRUE(result.standardError.endsWith(QStringLiteral("eend\n")));

    // A line that never ends arrives in bounded pieces, none of it lost, no character split.
    ProcessCancellation cancellation;
    const Streamed streamed = streamSh(QStringLiteral("printf l; head -c %1 /dev/zero | tr '\\0' '\\351' | iconv -f latin1 -t utf-8;"
                                                      " echo; echo after").arg(LineSplitter::kLongestLine), cancellation);
    ASSERT_GE(streamed.lines.size(), 3);
    EXPECT_EQ(streamed.lines.last(), QStringLiteral("after"));
    EXPECT_EQ(streamed.lines.mid(0, streamed.lines.size() - 1).join(QString()), QLatin1Char('l') + QString(LineSplitter::kLongestLine, QChar(0xE9)));
    for (const QString &piece : streamed.lines)
        EXPECT_LE(piece.toUtf8().size(), LineSplitter::kLongestLine);
}

TEST(LiveProcessRunner, ReportsExitsLinesAndBadBytesAlikeWhenRunAndStreamed)
{
    const struct {
        const char *script;
        std::int32_t code;
        QString out;         // what run() keeps of stdout
        QStringList streamed; // stdout and stderr merged in write order
    } cases[] = {
        {"exit 3", 3, {}, {}},
        {"exit 255", 255, {}, {}},
        {"kill -TERM $$", 128 + SIGTERM, {}, {}},
        {"kill -KILL $$", 128 + SIGKILL, {}, {}},
        {"printf 'caf\\351\\n'; printf 'caf\\303\\251\\n' >&2", 0, QStringLiteral("caf\uFFFD\n"), {QStringLiteral("caf\uFFFD"), QStringLiteral("café")}},
        {"echo one; echo two >&2; echo three; printf 'five\\r\\nsix\\rseven\\n\\nlast'", 0, "one\nthree\nfive\r\nsix\rseven\n\nlast",
         {"one", "two", "three", "five", "six", "seven", "", "last"}},
        {"if read answer; then echo read; else echo eof; fi", 0, "eof\n", {"eof"}}, // no input to wait for
    };
    for (const auto &c : cases) {
        const ProcessResult result = sh(QString::fromLatin1(c.script));
        EXPECT_EQ(result.exitCode, c.code) << c.script;
        EXPECT_EQ(result.standardOutput, c.out) << c.script;
        ProcessCancellation cancellation;
        const Streamed streamed = streamSh(QString::fromLatin1(c.script), cancellation);
        EXPECT_EQ(streamed.end, ProcessStreamEvent::exited(c.code)) << c.script;
        EXPECT_EQ(streamed.lines, c.streamed) << c.script;
    }
    qputenv("TARNWICK_INHERITED", "yes");
    const ProcessResult inherited = runner.run(QStringLiteral("/usr/bin/env"), {}, std::nullopt);
    qunsetenv("TARNWICK_INHERITED");
    EXPECT_TRUE(inherited.standardOutput.contains(QStringLiteral("TARNWICK_INHERITED=yes\n")));
}

TEST(LiveProcessRunner, DeliversEachLineWhileTheChildRunsAndReturnsAtItsExit)
{
    // The child waits for a file we create only on seeing its first line; a background sleep
    // keeps the output pipe open after the child's exit, and must neither be waited for nor killed.
    QTemporaryDir dir;
    const QString flag = dir.filePath(QStringLiteral("go"));
    ProcessCancellation cancellation;
    QElapsedTimer timer;
    timer.start();
    const Streamed streamed = streamSh(
        QStringLiteral("sleep 30 & echo $!; i=0; while [ ! -e '%1' ] && [ $i -lt 100 ]; do sleep 0.1; i=$((i+1)); done;"
                       " [ -e '%1' ] && echo released || echo 'gave up'").arg(flag),
        cancellation, [&](const QString &) { QFile(flag).open(QIODevice::WriteOnly); });
    EXPECT_LT(timer.elapsed(), 10000);
    EXPECT_EQ(streamed.lines.value(1), QStringLiteral("released"));
    const pid_t sleeper = streamed.lines.value(0).toInt();
    EXPECT_FALSE(goneWithin(sleeper, 0));
    ::kill(sleeper, SIGKILL);

    timer.restart();
    const pid_t other = sh(QStringLiteral("sleep 30 & echo $!")).standardOutput.trimmed().toInt();
    EXPECT_LT(timer.elapsed(), 10000);
    EXPECT_FALSE(goneWithin(other, 0));
    ::kill(other, SIGKILL);
}

TEST(LiveProcessRunner, CancellingEndsTheWholeTreeAtOnceEvenWhenStoppedOrDeafToTerm)
{
    // A shell that ignores SIGTERM; a group that has stopped itself (continued instead of
    // cancelled, it must still finish); the same cancelled; cancelled up front.
    const QString stops = QStringLiteral("sleep 300 & echo $$ $!; kill -STOP 0; echo after; kill $!; exit 7");
    const struct {
        QString script;
        bool cancelUpFront, stopFirst, cancel;
        QStringList after; // lines after the one with the pids
        ProcessStreamEvent end;
    } cases[] = {
        {"trap '' TERM; echo $$; sleep 300; echo woke", false, false, true, {}, ProcessStreamEvent::exited(128 + SIGKILL)},
        {stops, false, true, false, {"after"}, ProcessStreamEvent::exited(7)},
        {stops, false, true, true, {}, ProcessStreamEvent::exited(128 + SIGTERM)},
        {"sleep 300", true, false, false, {}, ProcessStreamEvent::exited(128 + SIGTERM)},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.script.toStdString());
        ProcessCancellation cancellation;
        if (c.cancelUpFront)
            cancellation.cancel();
        std::future<void> act;
        QElapsedTimer sinceCancel;
        sinceCancel.start();
        QList<pid_t> pids;
        QStringList lines;
        const Streamed streamed = streamSh(c.script, cancellation, [&](const QString &line) {
            if (!pids.isEmpty())
                return lines.append(line);
            for (const QString &pid : line.split(QLatin1Char(' ')))
                pids.append(pid.toInt());
            act = std::async(std::launch::async, [&, shell = pids.value(0)] {
                if (c.stopFirst) { // and well past any interval at which the runner looks for an exit
                    for (int i = 0; i < 500 && processState(shell) != "T"; ++i)
                        QThread::msleep(10);
                    QThread::msleep(200);
                }
                sinceCancel.restart();
                c.cancel ? cancellation.cancel() : (void)::kill(-shell, SIGCONT);
            });
        });
        if (act.valid())
            act.wait();
        EXPECT_EQ(streamed.end, c.end);
        EXPECT_EQ(lines, c.after);
        EXPECT_LT(sinceCancel.elapsed(), c.stopFirst && c.cancel ? 1500 : 10000); // a stopped tree: no grace before SIGKILL
        for (pid_t pid : pids)
            EXPECT_TRUE(goneWithin(pid, 5000)) << "pid " << pid << " is still running";
    }
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
        const bool ranToTheEnd = streamed.end == ProcessStreamEvent::exited(0) && streamed.lines == QStringList {"x"};
        EXPECT_TRUE(ranToTheEnd || streamed.end == ProcessStreamEvent::exited(128 + SIGTERM)) << "round " << round << " code " << streamed.end.code;
    }
}

TEST(ProgramRunner, MapsExitsCancelsAndLaunchFailuresToStreamEvents)
{
    const ProgramRunner shell(std::make_shared<LiveProcessRunner>());
    ScriptFolder folder;
    const QString marker = folder.path(QStringLiteral("ran"));
    const QString touches = folder.write(QStringLiteral("step"), QByteArray("touch '") + marker.toUtf8() + "'; echo started; sleep 300");
    const QString notExecutable = folder.write(QStringLiteral("plain"), "echo never");
    QFile::setPermissions(notExecutable, QFile::ReadOwner | QFile::WriteOwner);
    const auto failedToStart = [](const QString &executable, const char *why) {
        return QList<StreamEvent> {StreamEvent::output(QStringLiteral("Failed to start %1: %2").arg(executable, QString::fromLatin1(why)))};
    };
    const struct {
        QString executable;
        QStringList arguments;
        bool cancelUpFront;
        QList<StreamEvent> outputs;
        StreamEvent end;
    } cases[] = {
        {"/bin/sh", {"-c", "echo working; exit 7"}, false, {StreamEvent::output(QStringLiteral("working"))}, StreamEvent::completed(7)},
        {"/nonexistent/brew", {}, false, failedToStart("/nonexistent/brew", "No such file or directory"), StreamEvent::completed(-1)},
        {notExecutable, {}, false, failedToStart(notExecutable, "Permission denied"), StreamEvent::completed(-1)},
        {QDir::tempPath(), {}, false, failedToStart(QDir::tempPath(), "Is a directory"), StreamEvent::completed(-1)},
        {"/nonexistent/brew", {}, true, {}, StreamEvent::canceled()}, // not even tried
        {touches, {}, true, {}, StreamEvent::canceled()},
        {touches, {}, false, {StreamEvent::output(QStringLiteral("started"))}, StreamEvent::canceled()}, // a signal, yet no failure
    };
    for (const auto &c : cases) {
        ProcessCancellation cancellation;
        if (c.cancelUpFront)
            cancellation.cancel();
        QList<StreamEvent> outputs;
        EXPECT_EQ(shell.stream(c.executable, c.arguments, std::nullopt, cancellation, [&](const StreamEvent &event) {
            outputs.append(event);
            if (c.executable == touches)
                cancellation.cancel();
        }), c.end) << c.executable.toStdString();
        EXPECT_EQ(outputs, c.outputs) << c.executable.toStdString();
        EXPECT_EQ(QFile::exists(marker), c.executable == touches && !c.cancelUpFront);
    }
    for (const QString &executable : {QStringLiteral("/nonexistent/brew"), notExecutable})
        EXPECT_THROW((void)shell.run(executable, {}), ProcessLaunchError);
}
