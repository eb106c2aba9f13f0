#include "runners/MiseRunner.h"

#include "runners/Quoting.h"
#include "runners/SDKMANRunner.h"
#include "runners/ZshrcHooks.h"

#include <QFileInfo>

QString MiseRunner::installCommand(const QString &version)
{
    return QStringLiteral("mise install java@") + Quoting::shellQuoted(version) + QStringLiteral(" && ") + selectCommand(version);
}

QString MiseRunner::selectCommand(const QString &version)
{
    return QStringLiteral("mise use -g java@") + Quoting::shellQuoted(version);
}

QStringList MiseRunner::hookLines()
{
    return {QStringLiteral("eval \"$(mise activate zsh)\"")};
}

QStringList MiseRunner::missingHookLines() const
{
    return ZshrcHooks::missingLines(*m_fs, hookLines());
}

QString MiseRunner::folder() const
{
    // `mise` may live where the login shell's PATH doesn't reach yet.
    return m_miseExecutable.isEmpty() ? QString() : QFileInfo(m_miseExecutable).path();
}

StreamEvent MiseRunner::install(const QString &version, ProcessCancellation &cancellation, const ProgramRunner::OutputHandler &onOutput) const
{
    return m_shell.streamInLoginShell(installCommand(version), folder(), cancellation, onOutput);
}

StreamEvent MiseRunner::select(const QString &version, ProcessCancellation &cancellation, const ProgramRunner::OutputHandler &onOutput) const
{
    return m_shell.streamInLoginShell(selectCommand(version), folder(), cancellation, onOutput);
}
