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

        friend bool operator==(const Result &, const Result &) = default;
    };

    /// How the verify screens introduce the captured output.
    static constexpr const char *kOutputCaption = "Here's the actual output from a fresh `zsh -lc 'java -version'`.";

    explicit Verifier(ShellRunner shell, std::chrono::milliseconds interactiveTimeLimit = LoginShell::kInteractiveTimeLimit)
        : m_loginShell(std::move(shell), interactiveTimeLimit)
    {
    }

    /// Runs both shells side by side. A shell that cannot start is a failed check whose output is
    /// the launch error.
    [[nodiscard]] Result verify() const;

private:
    struct JavaVersionOutput {
        QString merged;
        std::int32_t exitCode = 0;
    };
    [[nodiscard]] JavaVersionOutput javaVersion() const;

    LoginShell m_loginShell;
};
