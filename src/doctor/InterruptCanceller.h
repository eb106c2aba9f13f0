#pragma once

#include "services/ProcessCancellation.h"

#include <atomic>
#include <thread>

/// While it lives, Ctrl-C (SIGINT) cancels `cancellation` instead of killing the process, so a
/// running fix ends cleanly: its children's process group is stopped and the run reports
/// `canceled`. The signal handler only writes to a pipe; a thread of ours does the cancelling.
class InterruptCanceller {
public:
    explicit InterruptCanceller(ProcessCancellation &cancellation);
    ~InterruptCanceller();
    InterruptCanceller(const InterruptCanceller &) = delete;
    InterruptCanceller &operator=(const InterruptCanceller &) = delete;

    [[nodiscard]] bool interrupted() const { return m_interrupted; }

private:
    int m_pipe[2] = {-1, -1};
    std::atomic<bool> m_interrupted {false};
    std::thread m_watcher;
};
