#pragma once

#include "services/FileSystemOperating.h"
#include "services/ProgramRunner.h"

/// Registers a JDK with jEnv and makes it the global Java, in the user's login shell.
class JEnvRunner {
public:
    JEnvRunner(QString jenvRoot, ProgramRunner shell, std::shared_ptr<FileSystemOperating> fs)
        : m_jenvRoot(std::move(jenvRoot)), m_shell(std::move(shell)), m_fs(std::move(fs))
    {
    }

    /// Enables the export plug-in, adds the JDK, rehashes and selects `majorVersion` globally.
    StreamEvent registerAndSelect(const QString &jdkPath, int majorVersion, ProcessCancellation &cancellation,
                                  const ProgramRunner::OutputHandler &onOutput) const;

    /// The five-line script; tolerates a plug-in already enabled and a JDK already added, and
    /// stops at any other failure.
    [[nodiscard]] static QString script(const QString &jdkPath, int majorVersion);
    /// `export PATH="$HOME/.jenv/bin:$PATH"` and `eval "$(jenv init -)"`, those ~/.zshrc lacks.
    /// Throws FileSystemError when ~/.zshrc cannot be read.
    [[nodiscard]] QStringList missingHookLines() const;
    [[nodiscard]] static QStringList hookLines();

private:
    QString m_jenvRoot;
    ProgramRunner m_shell;
    std::shared_ptr<FileSystemOperating> m_fs;
};
