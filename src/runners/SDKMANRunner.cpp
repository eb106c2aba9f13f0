#include "runners/SDKMANRunner.h"

#include "runners/Quoting.h"

#include <QRegularExpression>

StreamEvent streamInLoginShell(const ShellRunner &shell, const QString &commandLine, const QString &pathPrefix,
                               ProcessCancellation &cancellation, const ShellRunner::OutputHandler &onOutput)
{
    std::optional<Environment> environment;
    if (!pathPrefix.isEmpty()) {
        environment = appEnvironment();
        const QString path = environment->value(QStringLiteral("PATH"));
        environment->insert(QStringLiteral("PATH"), path.isEmpty() ? pathPrefix : pathPrefix + QLatin1Char(':') + path);
    }
    return shell.stream(ShellRunner::loginShell(), ShellRunner::loginShellArguments(commandLine), environment, cancellation,
                        onOutput);
}

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
                                  const ShellRunner::OutputHandler &onOutput) const
{
    return streamInLoginShell(m_shell, command(QStringLiteral("install java ") + candidateArgument(candidate)), QString(),
                              cancellation, onOutput);
}

StreamEvent SDKMANRunner::makeDefault(const QString &candidate, ProcessCancellation &cancellation,
                                      const ShellRunner::OutputHandler &onOutput) const
{
    return streamInLoginShell(m_shell, command(QStringLiteral("default java ") + candidateArgument(candidate)), QString(),
                              cancellation, onOutput);
}
