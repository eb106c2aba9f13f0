#include "diagnosis/Verifier.h"

#include <future>

namespace {

const QString kJavaVersionCommand = QStringLiteral("java -version 2>&1");

} // namespace

bool Verifier::javaRuns(std::int32_t exitCode, const QString &output)
{
    return exitCode == 0 && output.contains(QLatin1String("version"), Qt::CaseInsensitive);
}

Verifier::Result Verifier::verify(ProcessCancellation *cancellation) const
{
    const CancellationBranches branches(cancellation, 2);
    auto javaHome = std::async(std::launch::async, [&] {
        const QString marker = QStringLiteral("__TWK_VERIFY_JAVA_HOME__:");
        return m_loginShell.markedValue(LoginShell::printJavaHome(marker), marker, branches[0]);
    });
    const JavaVersionOutput version = javaVersion(branches[1]);
    const LoginShell::MarkedValue home = javaHome.get();
    return Result {version.merged, version.exitCode, home.value, version.timedOut || home.loginShellTimedOut};
}

Verifier::JavaVersionOutput Verifier::javaVersion(ProcessCancellation *cancellation) const
{
    try {
        const std::optional<ProcessResult> first = m_loginShell.run(kJavaVersionCommand, cancellation);
        if (!first) // stopped: there is no output worth showing
            return {QString(), -1, !cancellation || !cancellation->isCanceled()};
        if (javaRuns(first->exitCode, first->standardOutput))
            return {first->standardOutput, first->exitCode};
        // `java` may only be on the path that ~/.zshrc sets up (SDKMAN, Mise, jEnv).
        const std::optional<ProcessResult> interactive = m_loginShell.runInteractive(kJavaVersionCommand, cancellation);
        if (interactive && javaRuns(interactive->exitCode, interactive->standardOutput))
            return {interactive->standardOutput, interactive->exitCode};
        return {first->standardOutput, first->exitCode};
    } catch (const ProcessLaunchError &error) {
        return {QStringLiteral("Failed to start %1: %2").arg(error.executable(), error.message()), -1};
    }
}
