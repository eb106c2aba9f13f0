#include "services/Watchdog.h"

Watchdog::Watchdog(std::chrono::milliseconds limit, std::function<void()> onTimeout)
{
    m_timer = std::thread([this, limit, onTimeout = std::move(onTimeout)] {
        std::unique_lock lock(m_mutex);
        if (m_wake.wait_for(lock, limit, [this] { return m_finished; }))
            return;
        m_fired = true;
        onTimeout(); // under the lock: the destructor waits for it
    });
}

Watchdog::~Watchdog()
{
    {
        std::lock_guard lock(m_mutex);
        m_finished = true;
    }
    m_wake.notify_all();
    m_timer.join();
}

bool Watchdog::fired() const
{
    std::lock_guard lock(m_mutex);
    return m_fired;
}
