#include "diagnosis/Verifier.h"

#include <future>

namespace {

const QString kJavaVersionCommand = QStringLiteral("java -version 2>&1");

bool looksLikeAJava(std::int32_t exitCode, const QString &output)
{
    return exitCode == 0 && output.contains(QLatin1String("version"));
}

} // namespace

Verifier::Result Verifier::verify() const
{
    auto javaHome = std::async(std::launch::async, [this] {
        return m_loginShell.markedValue(QStringLiteral("echo __TWK_VERIFY_JAVA_HOME__:$JAVA_HOME"),
                                        QStringLiteral("__TWK_VERIFY_JAVA_HOME__:"));
    });
    const JavaVersionOutput version = javaVersion();
    return Result {version.merged, version.exitCode, javaHome.get()};
}

Verifier::JavaVersionOutput Verifier::javaVersion() const
{
    try {
        const ProcessResult first = m_loginShell.run(kJavaVersionCommand);
        if (looksLikeAJava(first.exitCode, first.stdout))
            return {first.stdout, first.exitCode};
        // `java` may only be on the path that ~/.zshrc sets up (SDKMAN, Mise, jEnv).
        const std::optional<ProcessResult> interactive = m_loginShell.runInteractive(kJavaVersionCommand);
        if (interactive && looksLikeAJava(interactive->exitCode, interactive->stdout))
            return {interactive->stdout, interactive->exitCode};
        return {first.stdout, first.exitCode};
    } catch (const ProcessLaunchError &error) {
        return {QStringLiteral("Failed to start %1: %2").arg(error.executable(), error.message()), -1};
    }
}
