#include "services/SerialWorker.h"

SerialWorker::SerialWorker() : m_thread([this] { runTasks(); }) {}

SerialWorker::~SerialWorker()
{
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
        m_tasks.clear();
    }
    m_changed.notify_all();
    m_thread.join();
}

void SerialWorker::post(std::function<void()> task)
{
    {
        std::lock_guard lock(m_mutex);
        if (m_stopping)
            return;
        m_tasks.push_back(std::move(task));
    }
    m_changed.notify_all();
}

void SerialWorker::waitUntilIdle()
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_stopping || (m_tasks.empty() && !m_running); });
}

bool SerialWorker::pause(std::chrono::milliseconds duration)
{
    std::unique_lock lock(m_mutex);
    return !m_changed.wait_for(lock, duration, [this] { return m_stopping; });
}

void SerialWorker::runTasks()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [this] { return m_stopping || !m_tasks.empty(); });
        if (m_stopping)
            return;
        std::function<void()> task = std::move(m_tasks.front());
        m_tasks.pop_front();
        m_running = true;
        lock.unlock();
        task();
        lock.lock();
        m_running = false;
        m_changed.notify_all();
    }
}
