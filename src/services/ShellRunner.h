#pragma once

#include "services/ProcessRunning.h"
#include "services/StreamEvent.h"

#include <memory>

/// The layer through which probes and runners execute programs. Commands that must see the
/// user's shell configuration go through a fresh login zsh (`loginShell`); plain tools are run
/// directly by absolute path.
class ShellRunner {
public:
    using OutputHandler = std::function<void(const StreamEvent &output)>;

    explicit ShellRunner(std::shared_ptr<const ProcessRunning> process) : m_process(std::move(process)) {}

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

    /// "/bin/zsh": a login zsh reads the user's ~/.zprofile, as a new Terminal window does.
    static QString loginShell();
    /// The arguments that run `commandLine` in a fresh, non-interactive login shell.
    static QStringList loginShellArguments(const QString &commandLine);

private:
    std::shared_ptr<const ProcessRunning> m_process;
};
