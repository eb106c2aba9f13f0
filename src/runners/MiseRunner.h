#pragma once

#include "services/FileSystemOperating.h"
#include "services/ProgramRunner.h"

/// Installs or selects Java through Mise, in the user's login shell.
class MiseRunner {
public:
    MiseRunner(QString miseExecutable, ProgramRunner shell, std::shared_ptr<FileSystemOperating> fs)
        : m_miseExecutable(std::move(miseExecutable)), m_shell(std::move(shell)), m_fs(std::move(fs))
    {
    }

    /// `mise install java@"<version>" && mise use -g java@"<version>"`.
    StreamEvent install(const QString &version, ProcessCancellation &cancellation, const ProgramRunner::OutputHandler &onOutput) const;
    /// `mise use -g java@"<version>"`.
    StreamEvent select(const QString &version, ProcessCancellation &cancellation, const ProgramRunner::OutputHandler &onOutput) const;

    [[nodiscard]] static QString installCommand(const QString &version);
    [[nodiscard]] static QString selectCommand(const QString &version);
    /// `eval "$(mise activate zsh)"`, unless ~/.zshrc has it. Throws FileSystemError when ~/.zshrc
    /// cannot be read.
    [[nodiscard]] QStringList missingHookLines() const;
    [[nodiscard]] static QStringList hookLines();

private:
    [[nodiscard]] QString folder() const;

    QString m_miseExecutable;
    ProgramRunner m_shell;
    std::shared_ptr<FileSystemOperating> m_fs;
};
