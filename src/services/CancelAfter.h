#pragma once

#include "services/ProcessCancellation.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

/// Cancels `cancellation` once `limit` has passed, unless this is destroyed first. Puts a time
/// limit on a run without the run knowing about clocks.
class CancelAfter {
public:
    CancelAfter(ProcessCancellation &cancellation, std::chrono::milliseconds limit);
    ~CancelAfter();
    CancelAfter(const CancelAfter &) = delete;
    CancelAfter &operator=(const CancelAfter &) = delete;

    /// Whether the limit passed (and the cancellation was cancelled because of it).
    [[nodiscard]] bool fired() const;

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_finished = false;
    bool m_fired = false;
    std::thread m_timer;
};
