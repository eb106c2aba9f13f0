#include "diagnosis/LoginShell.h"

#include "services/Watchdog.h"

#include <QRegularExpression>

namespace {

QString trimBlanks(const QString &text)
{
    qsizetype start = 0;
    qsizetype end = text.size();
    const auto isBlank = [](QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('\t'); };
    while (start < end && isBlank(text[start]))
        ++start;
    while (end > start && isBlank(text[end - 1]))
        --end;
    return text.mid(start, end - start);
}

// The app's environment, as an interactive shell without a terminal should see it.
Environment interactiveEnvironment()
{
    Environment environment = appEnvironment();
    environment.insert(QStringLiteral("TERM"), QStringLiteral("dumb"));
    return environment;
}

} // namespace

std::optional<QString> markerValue(const QString &output, const QString &marker)
{
    static const QRegularExpression lineBreak(QStringLiteral("\r\n|\r|\n"));
    const QStringList lines = output.split(lineBreak, Qt::SkipEmptyParts);
    for (auto line = lines.crbegin(); line != lines.crend(); ++line) {
        const qsizetype at = line->indexOf(marker);
        if (at < 0)
            continue;
        const QString value = trimBlanks(line->mid(at + marker.size()));
        if (value.isEmpty())
            return std::nullopt;
        return value;
    }
    return std::nullopt;
}

LoginShell::LoginShell(ShellRunner shell, std::chrono::milliseconds interactiveTimeLimit)
    : m_shell(std::move(shell)), m_interactiveTimeLimit(interactiveTimeLimit)
{
}

ProcessResult LoginShell::run(const QString &commandLine) const
{
    return m_shell.run(ShellRunner::loginShell(), ShellRunner::loginShellArguments(commandLine));
}

std::optional<ProcessResult> LoginShell::runInteractive(const QString &commandLine) const
{
    ProcessCancellation cancellation;
    const Watchdog limit(m_interactiveTimeLimit, Watchdog::cancelling(cancellation));
    ProcessResult result = m_shell.run(ShellRunner::loginShell(), {QStringLiteral("-ilc"), commandLine},
                                       interactiveEnvironment(), &cancellation);
    // An interactive zsh ignores SIGTERM: once what it waited for is killed it may well go on
    // and print an answer. Stopped is stopped.
    if (limit.fired())
        return std::nullopt;
    return result;
}

std::optional<QString> LoginShell::markedValue(const QString &commandLine, const QString &marker) const
{
    try {
        if (auto value = markerValue(run(commandLine).stdout, marker))
            return value;
        const std::optional<ProcessResult> interactive = runInteractive(commandLine);
        return interactive ? markerValue(interactive->stdout, marker) : std::nullopt;
    } catch (const ProcessLaunchError &) {
        return std::nullopt;
    }
}
