#pragma once

#include "services/ProcessRunning.h"
#include "services/StreamEvent.h"

#include <memory>

/// The layer through which probes and runners execute programs. Plain tools are run directly by
/// absolute path; no shell stands between us and them. Commands that must see the user's shell
/// configuration go through a fresh login zsh (`streamInLoginShell`, `loginShell`).
class ProgramRunner {
public:
    using OutputHandler = std::function<void(const StreamEvent &output)>;

    explicit ProgramRunner(std::shared_ptr<const ProcessRunning> process) : m_process(std::move(process)) {}

    /// Runs to completion. Throws ProcessLaunchError when the program cannot be started.
    [[nodiscard]] ProcessResult run(const QString &executable, const QStringList &arguments,
                                    const std::optional<Environment> &environment = std::nullopt,
                                    ProcessCancellation *cancellation = nullptr) const;

    /// Streams merged output to `onOutput` as `output` events and returns the terminal event:
    /// `completed` with the exit code, or `canceled` when `cancellation` was cancelled (whether the
    /// child had already exited or not; a cancelled run is never reported as a failure). A program
    /// that cannot be started gives the line "Failed to start <executable>: <message>" and
    /// `completed(-1)`. An already cancelled handle starts nothing.
    [[nodiscard]] StreamEvent stream(const QString &executable, const QStringList &arguments,
                                     const std::optional<Environment> &environment,
                                     ProcessCancellation &cancellation,
                                     const OutputHandler &onOutput) const;

    /// Runs a plain tool and returns its trimmed stdout when it exited 0 and said something; a tool
    /// that cannot start, fails, or is cancelled gives nothing.
    [[nodiscard]] std::optional<QString> trimmedAnswer(const QString &executable, const QStringList &arguments,
                                                       ProcessCancellation *cancellation = nullptr) const;

    /// Runs `commandLine` in a fresh login zsh with `pathPrefix` (if any) put first on PATH.
    [[nodiscard]] StreamEvent streamInLoginShell(const QString &commandLine, const QString &pathPrefix,
                                                 ProcessCancellation &cancellation, const OutputHandler &onOutput) const;

    /// "/bin/zsh": a login zsh reads the user's ~/.zprofile, as a new Terminal window does.
    static QString loginShell();
    /// The arguments that run `commandLine` in a fresh, non-interactive login shell.
    static QStringList loginShellArguments(const QString &commandLine);

private:
    std::shared_ptr<const ProcessRunning> m_process;
};
