#include "diagnosis/LoginShell.h"

#include "services/LineSplitter.h"
#include "services/Watchdog.h"

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

// A new window's environment, as an interactive shell without a terminal should see it.
Environment interactiveEnvironment()
{
    Environment environment = LoginShell::newWindowEnvironment();
    environment.insert(QStringLiteral("TERM"), QStringLiteral("dumb"));
    return environment;
}

} // namespace

std::optional<QString> markerValue(const QString &output, const QString &marker)
{
    const QStringList lines = splitLines(output, Qt::SkipEmptyParts);
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

LoginShell::LoginShell(ProgramRunner shell, std::chrono::milliseconds timeLimit) : m_shell(std::move(shell)), m_timeLimit(timeLimit) {}

std::optional<ProcessResult> LoginShell::runStoppable(const QStringList &arguments, const std::optional<Environment> &environment,
                                                      ProcessCancellation *cancellation, bool *timedOut) const
{
    // A branch of the caller's switch: the time limit stops this shell, not the caller's run.
    const CancellationBranches branch(cancellation, 1);
    if (branch[0]->isCanceled())
        return std::nullopt;
    const Watchdog limit(m_timeLimit, Watchdog::cancelling(*branch[0]));
    ProcessResult result = m_shell.run(ProgramRunner::loginShell(), arguments, environment, branch[0]);
    if (timedOut)
        *timedOut = limit.fired();
    // An interactive zsh ignores SIGTERM: once what it waited for is killed it may well go on
    // and print an answer. Stopped is stopped.
    if (branch[0]->isCanceled())
        return std::nullopt;
    return result;
}

Environment LoginShell::newWindowEnvironment()
{
    Environment environment = appEnvironment();
    // Started from a terminal (the doctor) or with a JAVA_HOME of its own, this process must not
    // hand either on: the answer has to come from the user's profile files alone.
    for (const char *name : {"JAVA_HOME", "TERM_PROGRAM", "TERM_PROGRAM_VERSION", "TERM_SESSION_ID"})
        environment.remove(QString::fromLatin1(name));
    // Otherwise /etc/zshrc would save and restore a Terminal session's history for us.
    environment.insert(QStringLiteral("SHELL_SESSIONS_DISABLE"), QStringLiteral("1"));
    environment.insert(QStringLiteral("PATH"), QString::fromLatin1(kLaunchdPath));
    return environment;
}

std::optional<ProcessResult> LoginShell::run(const QString &commandLine, ProcessCancellation *cancellation) const
{
    return runStoppable(ProgramRunner::loginShellArguments(commandLine), newWindowEnvironment(), cancellation, nullptr);
}

std::optional<ProcessResult> LoginShell::runInteractive(const QString &commandLine, ProcessCancellation *cancellation) const
{
    return runStoppable({QStringLiteral("-ilc"), commandLine}, interactiveEnvironment(), cancellation, nullptr);
}

LoginShell::MarkedValue LoginShell::markedValue(const QString &commandLine, const QString &marker, ProcessCancellation *cancellation) const
{
    try {
        bool timedOut = false;
        const std::optional<ProcessResult> login =
            runStoppable(ProgramRunner::loginShellArguments(commandLine), newWindowEnvironment(), cancellation, &timedOut);
        if (!login)
            return {std::nullopt, timedOut};
        if (auto value = markerValue(login->standardOutput, marker))
            return {value, false};
        const std::optional<ProcessResult> interactive = runInteractive(commandLine, cancellation);
        return {interactive ? markerValue(interactive->standardOutput, marker) : std::nullopt, false};
    } catch (const ProcessLaunchError &) {
        return {};
    }
}

QString LoginShell::printJavaHome(const QString &marker)
{
    return QStringLiteral("print -r -- \"%1$JAVA_HOME\"").arg(marker);
}

QString LoginShell::noAnswerText()
{
    return QStringLiteral("Your login shell didn't answer within %1 seconds, so JAVA_HOME couldn't be read; something in ~/.zprofile may be waiting.")
        .arg(std::chrono::duration_cast<std::chrono::seconds>(kTimeLimit).count());
}
