#include "services/ShellRunner.h"

ProcessResult ShellRunner::run(const QString &executable, const QStringList &arguments,
                               const std::optional<Environment> &environment,
                               ProcessCancellation *cancellation) const
{
    return m_process->run(executable, arguments, environment, cancellation);
}

StreamEvent ShellRunner::stream(const QString &executable, const QStringList &arguments,
                                const std::optional<Environment> &environment,
                                ProcessCancellation &cancellation,
                                const OutputHandler &onOutput) const
{
    if (cancellation.isCanceled())
        return StreamEvent::canceled();
    const ProcessStreamEvent end = m_process->stream(
        executable, arguments, environment, cancellation,
        [&](const QString &line) { onOutput(StreamEvent::output(line)); });
    if (end.kind == ProcessStreamEvent::Kind::failedToStart) {
        onOutput(StreamEvent::output(QStringLiteral("Failed to start ") + executable
                                     + QStringLiteral(": ") + end.text));
        return StreamEvent::completed(-1);
    }
    if (cancellation.isCanceled())
        return StreamEvent::canceled();
    return StreamEvent::completed(end.code);
}

QString ShellRunner::loginShell()
{
    return QStringLiteral("/bin/zsh");
}

QStringList ShellRunner::loginShellArguments(const QString &commandLine)
{
    return {QStringLiteral("-lc"), commandLine};
}
