#pragma once

#include "services/ProgramRunner.h"

#include <chrono>

/// Asks the user's own shell configuration, from the environment a new Terminal window starts
/// from (see newWindowEnvironment) rather than this process's. A command first runs in a fresh
/// non-interactive login zsh (`zsh -lc`), which reads ~/.zprofile but never ~/.zshrc. When that
/// answer finds nothing, it runs once more in an interactive login zsh (`zsh -ilc`), which also reads
/// ~/.zshrc as a new Terminal window does: SDKMAN, Mise and jEnv hook in there, and many people
/// export JAVA_HOME there.
///
/// Either shell is stopped, with everything it started, when the time limit passes (a start-up
/// file that waits for something must not hang us) or when the caller's cancellation is
/// cancelled; then there is no answer at all, since what it printed on its way down proves
/// nothing.
class LoginShell {
public:
    static constexpr std::chrono::milliseconds kTimeLimit {15000};
    /// The PATH launchd gives an app, and so a new Terminal window before the profile files run.
    static constexpr const char *kLaunchdPath = "/usr/bin:/bin:/usr/sbin:/sbin";

    /// A value read back through a shell, and whether the login shell let the time limit pass.
    struct MarkedValue {
        std::optional<QString> value;
        bool loginShellTimedOut = false;
    };

    explicit LoginShell(ProgramRunner shell, std::chrono::milliseconds timeLimit = kTimeLimit);

    /// This process's environment as a new Terminal window would have it: no JAVA_HOME, no
    /// terminal session, launchd's PATH; HOME, USER, SHELL, TMPDIR, LANG and the rest kept.
    [[nodiscard]] static Environment newWindowEnvironment();

    /// `/bin/zsh -lc commandLine` in newWindowEnvironment(); nothing when stopped. Throws
    /// ProcessLaunchError.
    [[nodiscard]] std::optional<ProcessResult> run(const QString &commandLine, ProcessCancellation *cancellation = nullptr) const;
    /// `/bin/zsh -ilc commandLine` in newWindowEnvironment() with TERM=dumb; nothing when stopped. Throws ProcessLaunchError.
    [[nodiscard]] std::optional<ProcessResult> runInteractive(const QString &commandLine,
                                                              ProcessCancellation *cancellation = nullptr) const;

    /// Runs `commandLine`, which prints `marker` followed by a value, and reads the value back
    /// (see markerValue), asking the interactive shell when the first answer has none. No value
    /// when neither has one, when zsh cannot be started, or when the login shell did not answer
    /// in time (the interactive one reads the same ~/.zprofile, so it is not asked then).
    [[nodiscard]] MarkedValue markedValue(const QString &commandLine, const QString &marker,
                                          ProcessCancellation *cancellation = nullptr) const;

    /// The command that prints `marker` and JAVA_HOME exactly as they are: zsh's `echo` would
    /// turn backslashes in the value into escapes.
    [[nodiscard]] static QString printJavaHome(const QString &marker);
    /// What to tell the user when the login shell did not answer within kTimeLimit.
    [[nodiscard]] static QString noAnswerText();

private:
    [[nodiscard]] std::optional<ProcessResult> runStoppable(const QStringList &arguments, const std::optional<Environment> &environment,
                                                            ProcessCancellation *cancellation, bool *timedOut) const;

    ProgramRunner m_shell;
    std::chrono::milliseconds m_timeLimit;
};

/// The value a command printed behind `marker`: the last non-empty output line holding the marker
/// wins (a profile may print banners, even the marker text, before the real line), the text after
/// the marker is trimmed of blanks and tabs, and an empty value is absent. Earlier lines are not
/// consulted once a marker line has been found.
[[nodiscard]] std::optional<QString> markerValue(const QString &output, const QString &marker);
