#include "services/CancelAfter.h"

CancelAfter::CancelAfter(ProcessCancellation &cancellation, std::chrono::milliseconds limit)
{
    m_timer = std::thread([this, &cancellation, limit] {
        std::unique_lock lock(m_mutex);
        if (m_wake.wait_for(lock, limit, [this] { return m_finished; }))
            return;
        m_fired = true;
        lock.unlock();
        cancellation.cancel();
    });
}

CancelAfter::~CancelAfter()
{
    {
        std::lock_guard lock(m_mutex);
        m_finished = true;
    }
    m_wake.notify_all();
    m_timer.join();
}

bool CancelAfter::fired() const
{
    std::lock_guard lock(m_mutex);
    return m_fired;
}
