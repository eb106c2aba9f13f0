#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

/// A thread of its own that runs posted tasks one at a time, in order. Whoever posts never
/// waits. Destroying it drops tasks not yet started and waits for the one running.
class SerialWorker {
public:
    SerialWorker();
    ~SerialWorker();
    SerialWorker(const SerialWorker &) = delete;
    SerialWorker &operator=(const SerialWorker &) = delete;

    void post(std::function<void()> task);
    /// Returns once every task posted so far has run.
    void waitUntilIdle();
    /// For a running task: pauses, and returns false at once when the worker is shutting down.
    [[nodiscard]] bool pause(std::chrono::milliseconds duration);

private:
    void runTasks();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_tasks;
    bool m_running = false;
    bool m_stopping = false;
    std::thread m_thread;
};
