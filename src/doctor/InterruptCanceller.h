#pragma once

#include "services/ProcessCancellation.h"

#include <atomic>
#include <csignal>
#include <thread>

/// While it lives, the signals that ask a program to stop — Ctrl-C (SIGINT), SIGTERM (`kill`,
/// `timeout`, a shutdown) and SIGHUP (the terminal went away, a logout) — cancel `cancellation`
/// instead of killing the process, so whatever runs ends cleanly: its children's process group is
/// stopped, the password helper and downloads are removed, and the run reports `canceled`. The
/// signal handler only writes to a pipe; a thread of ours does the cancelling.
class InterruptCanceller {
public:
    explicit InterruptCanceller(ProcessCancellation &cancellation);
    ~InterruptCanceller();
    InterruptCanceller(const InterruptCanceller &) = delete;
    InterruptCanceller &operator=(const InterruptCanceller &) = delete;

    [[nodiscard]] bool interrupted() const { return m_signal != 0; }
    /// The first signal that arrived; 0 when none did.
    [[nodiscard]] int signalNumber() const { return m_signal; }

private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

    int m_pipe[2] = {-1, -1};
    std::atomic<int> m_signal {0};
    struct sigaction m_previous[std::size(kSignals)] {};
    std::thread m_watcher;
};
