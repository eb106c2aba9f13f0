#pragma once

#include "services/ProcessRunning.h"

#include <sys/types.h>

#include <functional>

/// One child program started with posix_spawn in a session of its own, read through pipes with
/// poll() (kqueue on macOS). Used by LiveProcessRunner only.
///
/// Why not QProcess: a cancel arrives from another thread and must signal the child's process
/// group, which is only safe while the group leader has not been reaped. Here the reaping is ours:
/// we learn of the exit without reaping (WNOWAIT), close the cancellation, and only then reap.
class ChildProcess {
public:
    enum class Output { separate, merged };
    enum class Stream { out, err };
    using DataHandler = std::function<void(Stream stream, const char *data, qsizetype size)>;

    /// Starts the program. Throws ProcessLaunchError when it cannot be started.
    ChildProcess(const QString &executable, const QStringList &arguments,
                 const std::optional<Environment> &environment, Output output);
    ~ChildProcess();
    ChildProcess(const ChildProcess &) = delete;
    ChildProcess &operator=(const ChildProcess &) = delete;

    /// Reads the child's output until it exits and returns its exit code (128 + signal when a
    /// signal ended it). Data arrives on the calling thread. Output still buffered in the pipes
    /// when the child exits is handed over before returning; output written later by a background
    /// grandchild is not waited for. With a cancellation, cancelling sends SIGTERM to the whole
    /// process group and, after a grace period, SIGKILL to whatever is left of it.
    std::int32_t waitForExit(ProcessCancellation *cancellation, const DataHandler &onData);

private:
    int openExitDescriptor();
    bool waitForActivity(int timeoutMilliseconds);
    bool exitIsWatched() const;
    void closeDescriptors();
    bool leaderHasExited() const;
    void signalGroup(int signal) const;
    enum class ReadLimit { chunk, whatIsBuffered };
    void readAvailable(int &fd, Stream stream, const DataHandler &onData, ReadLimit limit);
    void waitForStragglers();
    std::int32_t reap();

    pid_t m_pid = -1;
    bool m_reaped = false;
    int m_out = -1;
    int m_err = -1;
    int m_wakeRead = -1;  // a cancel writes a byte here so that poll() wakes up at once
    int m_wakeWrite = -1;
    int m_exitFd = -1;    // Linux: a pidfd; macOS: a kqueue watching the pipes and the exit
    bool m_exitNoticed = false; // macOS: the kqueue has reported the exit
};
