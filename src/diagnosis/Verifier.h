#pragma once

#include "diagnosis/LoginShell.h"

/// Checks a fix the way the user will meet it: in a brand-new login shell, as a new terminal
/// window would be. Judging pass or fail is the verify screen's business.
class Verifier {
public:
    struct Result {
        /// What `java -version` printed, stderr folded in.
        QString javaVersionOutput;
        std::int32_t javaVersionExitCode = 0;
        /// JAVA_HOME in a fresh login shell; absent when unset or blank.
        std::optional<QString> javaHomeValue;
        /// A login shell did not answer within its time limit; the values above are then unknown.
        bool loginShellTimedOut = false;

        friend bool operator==(const Result &, const Result &) = default;
    };

    /// Whether `java -version` ran: exit 0 and "version" in its output, in any case. A real java
    /// starts with "openjdk version" or "java version", lower-case, so for one the case is moot;
    /// ignoring it keeps the pass rule the verify screens state (it reads lower-cased text), and
    /// the choice between the login and the interactive shell's answer follows the same rule.
    [[nodiscard]] static bool javaRuns(std::int32_t exitCode, const QString &output);

    /// How the verify screens introduce the captured output.
    static constexpr const char *kOutputCaption = "Here's the actual output from a fresh `zsh -lc 'java -version'`.";

    explicit Verifier(ProgramRunner shell, std::chrono::milliseconds shellTimeLimit = LoginShell::kTimeLimit)
        : m_loginShell(std::move(shell), shellTimeLimit)
    {
    }

    /// Runs both shells side by side. A shell that cannot start is a failed check whose output is
    /// the launch error; one stopped by its time limit or by `cancellation` is a failed check too.
    [[nodiscard]] Result verify(ProcessCancellation *cancellation = nullptr) const;

private:
    struct JavaVersionOutput {
        QString merged;
        std::int32_t exitCode = 0;
        bool timedOut = false;
    };
    [[nodiscard]] JavaVersionOutput javaVersion(ProcessCancellation *cancellation) const;

    LoginShell m_loginShell;
};
