#include "runners/JEnvRunner.h"

#include "runners/Quoting.h"
#include "runners/SDKMANRunner.h"
#include "runners/ZshrcHooks.h"

QString JEnvRunner::script(const QString &jdkPath, int majorVersion)
{
    return QStringLiteral("set -e\njenv enable-plugin export || true\njenv add ") + Quoting::shellQuoted(jdkPath)
        + QStringLiteral(" || true\njenv rehash\njenv global ") + QString::number(majorVersion);
}

QStringList JEnvRunner::hookLines()
{
    return {QStringLiteral("export PATH=\"$HOME/.jenv/bin:$PATH\""), QStringLiteral("eval \"$(jenv init -)\"")};
}

QStringList JEnvRunner::missingHookLines() const
{
    return ZshrcHooks::missingLines(*m_fs, hookLines());
}

StreamEvent JEnvRunner::registerAndSelect(const QString &jdkPath, int majorVersion, ProcessCancellation &cancellation,
                                          const ProgramRunner::OutputHandler &onOutput) const
{
    // jenv lives in ~/.jenv/bin, which only the ~/.zshrc hooks put on PATH.
    const QString folder = m_jenvRoot.isEmpty() ? QString() : m_jenvRoot + QStringLiteral("/bin");
    return m_shell.streamInLoginShell(script(jdkPath, majorVersion), folder, cancellation, onOutput);
}
