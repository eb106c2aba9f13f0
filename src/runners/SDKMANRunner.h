#pragma once

#include "services/ProgramRunner.h"

/// Installs or selects Java through SDKMAN, in the user's login shell.
class SDKMANRunner {
public:
    SDKMANRunner(QString sdkmanRoot, ProgramRunner shell) : m_sdkmanRoot(std::move(sdkmanRoot)), m_shell(std::move(shell)) {}

    /// `sdk install java <candidate>`, e.g. candidate "21-tem".
    StreamEvent install(const QString &candidate, ProcessCancellation &cancellation, const ProgramRunner::OutputHandler &onOutput) const;
    /// `sdk default java <candidate>`.
    StreamEvent makeDefault(const QString &candidate, ProcessCancellation &cancellation,
                            const ProgramRunner::OutputHandler &onOutput) const;

    /// `source "<root>/bin/sdkman-init.sh" && sdk <subcommand>`.
    [[nodiscard]] QString command(const QString &subcommand) const;
    /// A candidate as it goes into a command: as it is when plain, quoted otherwise.
    [[nodiscard]] static QString candidateArgument(const QString &candidate);

private:
    QString m_sdkmanRoot;
    ProgramRunner m_shell;
};
