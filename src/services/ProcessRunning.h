#pragma once

#include "services/Error.h"
#include "services/ProcessCancellation.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>

/// A child's complete environment, name to value. When a call passes none, the child inherits ours.
using Environment = QMap<QString, QString>;

/// This process's own environment, for a child that should see it with a change or two.
[[nodiscard]] Environment appEnvironment();
/// The app's environment with `overlay` laid over it (its keys win).
[[nodiscard]] Environment appEnvironmentWith(const Environment &overlay);

/// Everything a child printed, and how it ended. A child killed by a signal reports 128 + the
/// signal number, as a shell's `$?` does (SIGTERM gives 143).
struct ProcessResult {
    std::int32_t exitCode = 0;
    // Not `stdout`/`stderr`: macOS's <stdio.h> defines those names as macros.
    QString standardOutput; // both decoded as UTF-8; output that is not valid UTF-8 decodes to ""
    QString standardError;

    friend bool operator==(const ProcessResult &, const ProcessResult &) = default;
};

/// One event of a streamed run. Lines go to the caller's line callback as they arrive; the run
/// then returns exactly one of `exited` or `failedToStart`.
struct ProcessStreamEvent {
    enum class Kind { line, exited, failedToStart };

    Kind kind = Kind::line;
    QString text; // the line, or the launch failure's message
    std::int32_t code = 0;

    static ProcessStreamEvent line(QString text) { return {Kind::line, std::move(text), 0}; }
    static ProcessStreamEvent exited(std::int32_t code) { return {Kind::exited, {}, code}; }
    static ProcessStreamEvent failedToStart(QString message)
    {
        return {Kind::failedToStart, std::move(message), 0};
    }

    friend bool operator==(const ProcessStreamEvent &, const ProcessStreamEvent &) = default;
};

/// The program could not be started (missing, not executable, a directory...).
/// `message()` is the platform's description of the failure, e.g. "No such file or directory".
class ProcessLaunchError : public Error {
public:
    ProcessLaunchError(const QString &executable, const QString &message) : Error(message), m_executable(executable) {}
    [[nodiscard]] QString executable() const { return m_executable; }

private:
    QString m_executable;
};

/// Starts child programs; the only code that spawns processes. Programs are named by absolute
/// path and started directly, without a shell. Every child gets its own session (so cancelling
/// can end it with everything it started), and its stdin reads from /dev/null. Nothing here puts
/// a time limit on a child. Safe to call from any thread.
class ProcessRunning {
public:
    using LineHandler = std::function<void(const QString &line)>;

    virtual ~ProcessRunning() = default;

    /// Runs to completion and returns what the child printed on each stream. The call returns as
    /// soon as the child exits, even if something it started in the background still holds its
    /// output open. A non-zero exit is not an error here. Throws ProcessLaunchError.
    [[nodiscard]] ProcessResult run(const QString &executable, const QStringList &arguments,
                                    const std::optional<Environment> &environment) const
    {
        return run(executable, arguments, environment, nullptr);
    }
    /// The same, stoppable: cancelling ends the child's process group as for `stream`, and the
    /// result holds what it printed until then. `cancellation` may be null.
    [[nodiscard]] virtual ProcessResult run(const QString &executable, const QStringList &arguments,
                                            const std::optional<Environment> &environment,
                                            ProcessCancellation *cancellation) const = 0;

    /// Runs with stdout and stderr merged into one stream, in the order the child wrote them, and
    /// hands each line (without its terminator) to `onLine` on the calling thread as it arrives.
    /// Every line printed before the child exited, including a last one without a newline, comes
    /// before the call returns. Returns `exited`, or `failedToStart` when the program could not be
    /// started (then no line is delivered). Cancelling `cancellation` ends the child's whole
    /// process group: SIGTERM, then SIGKILL for whatever is left after a short grace.
    [[nodiscard]] virtual ProcessStreamEvent stream(const QString &executable,
                                                    const QStringList &arguments,
                                                    const std::optional<Environment> &environment,
                                                    ProcessCancellation &cancellation,
                                                    const LineHandler &onLine) const = 0;
};
