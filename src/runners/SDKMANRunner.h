#pragma once

#include "services/ShellRunner.h"

/// Installs or selects Java through SDKMAN, in the user's login shell.
class SDKMANRunner {
public:
    SDKMANRunner(QString sdkmanRoot, ShellRunner shell) : m_sdkmanRoot(std::move(sdkmanRoot)), m_shell(std::move(shell)) {}

    /// `sdk install java <candidate>`, e.g. candidate "21-tem".
    StreamEvent install(const QString &candidate, ProcessCancellation &cancellation, const ShellRunner::OutputHandler &onOutput) const;
    /// `sdk default java <candidate>`.
    StreamEvent makeDefault(const QString &candidate, ProcessCancellation &cancellation,
                            const ShellRunner::OutputHandler &onOutput) const;

    /// `source "<root>/bin/sdkman-init.sh" && sdk <subcommand>`.
    [[nodiscard]] QString command(const QString &subcommand) const;
    /// A candidate as it goes into a command: as it is when plain, quoted otherwise.
    [[nodiscard]] static QString candidateArgument(const QString &candidate);

private:
    QString m_sdkmanRoot;
    ShellRunner m_shell;
};

/// Runs `commandLine` in a fresh login zsh with `pathPrefix` (if any) put first on PATH.
StreamEvent streamInLoginShell(const ShellRunner &shell, const QString &commandLine, const QString &pathPrefix,
                               ProcessCancellation &cancellation, const ShellRunner::OutputHandler &onOutput);
