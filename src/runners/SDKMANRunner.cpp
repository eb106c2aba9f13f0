#include "runners/SDKMANRunner.h"

#include "runners/Quoting.h"

#include <QRegularExpression>

QString SDKMANRunner::candidateArgument(const QString &candidate)
{
    // Versions come from JDKs on disk; one that is not plain must not run as code.
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9._+-]+$"));
    return plain.match(candidate).hasMatch() ? candidate : Quoting::shellQuoted(candidate);
}

QString SDKMANRunner::command(const QString &subcommand) const
{
    return QStringLiteral("source ") + Quoting::shellQuoted(m_sdkmanRoot + QStringLiteral("/bin/sdkman-init.sh"))
        + QStringLiteral(" && sdk ") + subcommand;
}

StreamEvent SDKMANRunner::install(const QString &candidate, ProcessCancellation &cancellation,
                                  const ProgramRunner::OutputHandler &onOutput) const
{
    return m_shell.streamInLoginShell(command(QStringLiteral("install java ") + candidateArgument(candidate)), QString(),
                                      cancellation, onOutput);
}

StreamEvent SDKMANRunner::makeDefault(const QString &candidate, ProcessCancellation &cancellation,
                                      const ProgramRunner::OutputHandler &onOutput) const
{
    return m_shell.streamInLoginShell(command(QStringLiteral("default java ") + candidateArgument(candidate)), QString(),
                                      cancellation, onOutput);
}
