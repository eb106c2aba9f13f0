#include "services/ProgramRunner.h"

ProcessResult ProgramRunner::run(const QString &executable, const QStringList &arguments,
                               const std::optional<Environment> &environment,
                               ProcessCancellation *cancellation) const
{
    return m_process->run(executable, arguments, environment, cancellation);
}

StreamEvent ProgramRunner::stream(const QString &executable, const QStringList &arguments,
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

std::optional<QString> ProgramRunner::trimmedAnswer(const QString &executable, const QStringList &arguments,
                                                    ProcessCancellation *cancellation) const
{
    if (cancellation && cancellation->isCanceled())
        return std::nullopt;
    try {
        const ProcessResult result = run(executable, arguments, std::nullopt, cancellation);
        const QString answer = result.standardOutput.trimmed();
        if (result.exitCode != 0 || answer.isEmpty() || (cancellation && cancellation->isCanceled()))
            return std::nullopt;
        return answer;
    } catch (const ProcessLaunchError &) {
        return std::nullopt;
    }
}

StreamEvent ProgramRunner::streamInLoginShell(const QString &commandLine, const QString &pathPrefix,
                                              ProcessCancellation &cancellation, const OutputHandler &onOutput) const
{
    std::optional<Environment> environment;
    if (!pathPrefix.isEmpty()) {
        environment = appEnvironment();
        const QString path = environment->value(QStringLiteral("PATH"));
        environment->insert(QStringLiteral("PATH"), path.isEmpty() ? pathPrefix : pathPrefix + QLatin1Char(':') + path);
    }
    return stream(loginShell(), loginShellArguments(commandLine), environment, cancellation, onOutput);
}

QString ProgramRunner::loginShell()
{
    return QStringLiteral("/bin/zsh");
}

QStringList ProgramRunner::loginShellArguments(const QString &commandLine)
{
    return {QStringLiteral("-lc"), commandLine};
}
