#pragma once

#include "services/ShellRunner.h"

#include <chrono>

/// Asks the user's own shell configuration. A command first runs in a fresh non-interactive
/// login zsh (`zsh -lc`), which reads ~/.zprofile but never ~/.zshrc. When that answer finds
/// nothing, it runs once more in an interactive login zsh (`zsh -ilc`), which also reads
/// ~/.zshrc as a new Terminal window does: SDKMAN, Mise and jEnv hook in there, and many people
/// export JAVA_HOME there.
class LoginShell {
public:
    static constexpr std::chrono::milliseconds kInteractiveTimeLimit {15000};

    explicit LoginShell(ShellRunner shell, std::chrono::milliseconds interactiveTimeLimit = kInteractiveTimeLimit);

    /// `/bin/zsh -lc commandLine` with the app's environment. Throws ProcessLaunchError.
    [[nodiscard]] ProcessResult run(const QString &commandLine) const;
    /// `/bin/zsh -ilc commandLine` with TERM=dumb, stopped when the time limit passes (a ~/.zshrc
    /// that waits for something must not hang us); then there is no answer at all, since what it
    /// printed on its way down proves nothing. Throws ProcessLaunchError.
    [[nodiscard]] std::optional<ProcessResult> runInteractive(const QString &commandLine) const;

    /// Runs `commandLine`, which echoes `marker` followed by a value, and reads the value back
    /// (see markerValue), asking the interactive shell when the first answer has none. Absent
    /// when neither has one, or when zsh cannot be started.
    [[nodiscard]] std::optional<QString> markedValue(const QString &commandLine, const QString &marker) const;

private:
    ShellRunner m_shell;
    std::chrono::milliseconds m_interactiveTimeLimit;
};

/// The value a command echoed behind `marker`: the last non-empty output line holding the marker
/// wins (a profile may print banners, even the marker text, before the real echo), the text after
/// the marker is trimmed of blanks and tabs, and an empty value is absent. Earlier lines are not
/// consulted once a marker line has been found.
[[nodiscard]] std::optional<QString> markerValue(const QString &output, const QString &marker);
