#include "diagnosis/Probes.h"

#include <future>

Probes::Probes(ProgramRunner shell, std::shared_ptr<FileSystemOperating> fs,
               std::chrono::milliseconds shellTimeLimit)
    : m_shell(shell), m_fs(std::move(fs)), m_loginShell(std::move(shell), shellTimeLimit)
{
}

ProbeBundle Probes::run(ProcessCancellation *cancellation) const
{
    const CancellationBranches branches(cancellation, 3);
    // Threads of their own rather than a pool: a pool as small as the machine's core count would
    // queue these waits behind each other.
    auto which = std::async(std::launch::async, [&] { return whichJava(branches[0]); });
    auto jdks = std::async(std::launch::async, [&] { return installedJDKs(branches[1]); });
    auto javaHome = std::async(std::launch::async, [&] { return javaHomeInActiveShell(branches[2]); });
    ProbeBundle bundle;
    bundle.jvmDirContents = jvmDirContents();
    bundle.whichJava = which.get();
    bundle.installedJDKs = jdks.get();
    const LoginShell::MarkedValue home = javaHome.get();
    bundle.javaHomeInActiveShell = home.value;
    bundle.loginShellTimedOut = home.loginShellTimedOut;
    return bundle;
}

std::optional<QString> Probes::whichJava(ProcessCancellation *cancellation) const
{
    return m_shell.trimmedAnswer(QStringLiteral("/usr/bin/which"), {QStringLiteral("java")}, cancellation);
}

QList<JDKInfo> Probes::installedJDKs(ProcessCancellation *cancellation) const
{
    if (cancellation && cancellation->isCanceled())
        return {};
    try {
        const ProcessResult result = m_shell.run(QStringLiteral("/usr/libexec/java_home"), {QStringLiteral("-V")}, std::nullopt, cancellation);
        if (cancellation && cancellation->isCanceled())
            return {};
        return parseJavaHomeListing(result.standardOutput + QLatin1Char('\n') + result.standardError);
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

LoginShell::MarkedValue Probes::javaHomeInActiveShell(ProcessCancellation *cancellation) const
{
    const QString marker = QStringLiteral("__TWK_JAVA_HOME__:");
    return m_loginShell.markedValue(LoginShell::printJavaHome(marker), marker, cancellation);
}
