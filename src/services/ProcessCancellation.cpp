#include "services/ProcessCancellation.h"

#include <utility>

void ProcessCancellation::cancel()
{
    std::lock_guard lock(m_mutex);
    if (m_canceled)
        return;
    m_canceled = true;
    // Run the action under the lock: disarm() then cannot return while it is still running.
    if (auto stop = std::exchange(m_stop, nullptr))
        stop();
}

bool ProcessCancellation::isCanceled() const
{
    std::lock_guard lock(m_mutex);
    return m_canceled;
}

bool ProcessCancellation::arm(std::function<void()> stop)
{
    std::lock_guard lock(m_mutex);
    if (m_canceled)
        return false;
    m_stop = std::move(stop);
    return true;
}

void ProcessCancellation::disarm()
{
    std::lock_guard lock(m_mutex);
    m_stop = nullptr;
}

CancellationBranches::CancellationBranches(ProcessCancellation *parent, int count)
    : m_parent(parent), m_branches(std::make_unique<ProcessCancellation[]>(count)), m_count(count)
{
    if (m_parent && !m_parent->arm([this] { cancelAll(); }))
        cancelAll();
}

CancellationBranches::~CancellationBranches()
{
    if (m_parent)
        m_parent->disarm();
}

void CancellationBranches::cancelAll() const
{
    for (int i = 0; i < m_count; ++i)
        m_branches[i].cancel();
}
