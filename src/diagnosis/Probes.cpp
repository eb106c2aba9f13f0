#include "diagnosis/Probes.h"

#include <future>

std::optional<QString> trimmedAnswer(const ShellRunner &shell, const QString &executable, const QStringList &arguments)
{
    try {
        const ProcessResult result = shell.run(executable, arguments);
        const QString answer = result.stdout.trimmed();
        if (result.exitCode != 0 || answer.isEmpty())
            return std::nullopt;
        return answer;
    } catch (const ProcessLaunchError &) {
        return std::nullopt;
    }
}

Probes::Probes(ShellRunner shell, std::shared_ptr<const FileSystemOperating> fs,
               std::chrono::milliseconds interactiveTimeLimit)
    : m_shell(shell), m_fs(std::move(fs)), m_loginShell(std::move(shell), interactiveTimeLimit)
{
}

ProbeBundle Probes::run() const
{
    // Threads of their own rather than a pool: a pool as small as the machine's core count would
    // queue these waits behind each other.
    auto which = std::async(std::launch::async, [this] { return whichJava(); });
    auto jdks = std::async(std::launch::async, [this] { return installedJDKs(); });
    auto javaHome = std::async(std::launch::async, [this] { return javaHomeInActiveShell(); });
    ProbeBundle bundle;
    bundle.jvmDirContents = jvmDirContents();
    bundle.whichJava = which.get();
    bundle.installedJDKs = jdks.get();
    bundle.javaHomeInActiveShell = javaHome.get();
    return bundle;
}

std::optional<QString> Probes::whichJava() const
{
    return trimmedAnswer(m_shell, QStringLiteral("/usr/bin/which"), {QStringLiteral("java")});
}

QList<JDKInfo> Probes::installedJDKs() const
{
    try {
        const ProcessResult result = m_shell.run(QStringLiteral("/usr/libexec/java_home"), {QStringLiteral("-V")});
        return parseJavaHomeListing(result.stdout + QLatin1Char('\n') + result.stderr);
    } catch (const ProcessLaunchError &) {
        return {};
    }
}

QStringList Probes::jvmDirContents() const
{
    try {
        return m_fs->contentsOfDirectory(QString::fromLatin1(kJavaVirtualMachines));
    } catch (const FileSystemError &) {
        return {};
    }
}

std::optional<QString> Probes::javaHomeInActiveShell() const
{
    return m_loginShell.markedValue(QStringLiteral("echo __TWK_JAVA_HOME__:$JAVA_HOME"),
                                    QStringLiteral("__TWK_JAVA_HOME__:"));
}
