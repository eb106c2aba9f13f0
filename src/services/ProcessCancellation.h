#pragma once

#include <functional>
#include <memory>
#include <mutex>

/// The cancel switch of one run, shared between the code doing the work and whoever may stop it
/// (a Cancel button, Ctrl-C, a time limit). A run may have several steps, one after another: a
/// download, then a child process. While a step runs it *arms* the switch with the action that
/// stops it; cancelling sets the flag for good and runs that action once. A step that starts after
/// the switch was flipped sees `isCanceled()` and does not start.
///
/// Safe to use from any thread. `disarm()` waits for a stop action that is running at that moment,
/// so the step can free what the action touches (a reply, a process id) as soon as it returns.
class ProcessCancellation {
public:
    ProcessCancellation() = default;
    ProcessCancellation(const ProcessCancellation &) = delete;
    ProcessCancellation &operator=(const ProcessCancellation &) = delete;

    /// Flips the switch and stops the current step, if any. Cancelling again does nothing.
    void cancel();
    [[nodiscard]] bool isCanceled() const;

    /// Installs the action that stops the current step. Returns false, and installs nothing, when
    /// the switch was already flipped: the step should then stop on its own.
    [[nodiscard]] bool arm(std::function<void()> stop);
    /// Removes the action; after this returns it is not running and will never run.
    void disarm();

private:
    mutable std::mutex m_mutex;
    std::function<void()> m_stop;
    bool m_canceled = false;
};

/// Switches that follow another: cancelling `parent` cancels every branch, while a branch can be
/// cancelled on its own (a time limit on one step) without ending the rest of the run. A switch
/// holds one stop action at a time, so steps that run side by side under one run need a branch
/// each. While this lives it is `parent`'s stop action; `parent` may be null (nothing to follow).
class CancellationBranches {
public:
    CancellationBranches(ProcessCancellation *parent, int count);
    ~CancellationBranches();
    CancellationBranches(const CancellationBranches &) = delete;
    CancellationBranches &operator=(const CancellationBranches &) = delete;

    [[nodiscard]] ProcessCancellation *operator[](int index) const { return &m_branches[index]; }

private:
    void cancelAll() const;

    ProcessCancellation *m_parent;
    std::unique_ptr<ProcessCancellation[]> m_branches;
    int m_count;
};
