#pragma once

#include "services/ProcessCancellation.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

/// Runs `onTimeout` once `limit` has passed, on a thread of its own, unless this is destroyed
/// first. Destroying it waits for an `onTimeout` that is running, so after the destructor the
/// action has either run completely or never will: a phase's "this is taking long" cannot arrive
/// after the phase has ended.
class Watchdog {
public:
    Watchdog(std::chrono::milliseconds limit, std::function<void()> onTimeout);
    ~Watchdog();
    Watchdog(const Watchdog &) = delete;
    Watchdog &operator=(const Watchdog &) = delete;

    /// A time limit on a run: cancels `cancellation` when the limit passes.
    static std::function<void()> cancelling(ProcessCancellation &cancellation)
    {
        return [&cancellation] { cancellation.cancel(); };
    }

    /// Whether the limit passed (and the action ran).
    [[nodiscard]] bool fired() const;

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_finished = false;
    bool m_fired = false;
    std::thread m_timer;
};
