#include "services/LiveProcessRunner.h"

#include "services/BlockingCallGuard.h"
#include "services/ChildProcess.h"
#include "services/LineSplitter.h"

#include <algorithm>

namespace {

// A stray byte that is not UTF-8 becomes U+FFFD; it must not cost the rest of the output.
QString decodeLossily(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes);
}

} // namespace

ProcessResult LiveProcessRunner::run(const QString &executable, const QStringList &arguments,
                                     const std::optional<Environment> &environment,
                                     ProcessCancellation *cancellation) const
{
    assertMayBlock("LiveProcessRunner::run");
    ChildProcess child(executable, arguments, environment, ChildProcess::Output::separate);
    QByteArray out;
    QByteArray err;
    const std::int32_t exitCode = child.waitForExit(
        cancellation, [&](ChildProcess::Stream stream, const char *data, qsizetype size) {
            QByteArray &kept = stream == ChildProcess::Stream::out ? out : err;
            kept.append(data, std::min(size, kKeptOutputBytes - kept.size()));
        });
    return ProcessResult {exitCode, decodeLossily(out), decodeLossily(err)};
}

ProcessStreamEvent LiveProcessRunner::stream(const QString &executable, const QStringList &arguments,
                                             const std::optional<Environment> &environment,
                                             ProcessCancellation &cancellation,
                                             const LineHandler &onLine) const
{
    assertMayBlock("LiveProcessRunner::stream");
    std::optional<ChildProcess> child;
    try {
        child.emplace(executable, arguments, environment, ChildProcess::Output::merged);
    } catch (const ProcessLaunchError &error) {
        return ProcessStreamEvent::failedToStart(error.message());
    }
    LineSplitter lines([&](const QByteArray &line) { onLine(decodeLossily(line)); });
    const std::int32_t exitCode = child->waitForExit(
        &cancellation,
        [&](ChildProcess::Stream, const char *data, qsizetype size) { lines.feed(data, size); });
    lines.finish();
    return ProcessStreamEvent::exited(exitCode);
}
