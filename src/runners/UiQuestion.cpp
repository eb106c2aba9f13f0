#include "runners/UiQuestion.h"

#include "runners/Logging.h"
#include "services/BlockingCallGuard.h"

#include <QCoreApplication>
#include <QThread>

#include <condition_variable>
#include <mutex>
#include <optional>

namespace {

// What the worker waits on; the stop action, the reply handles and the worker share it.
struct Decision {
    std::mutex mutex;
    std::condition_variable settled;
    std::optional<bool> yes;

    void settle(bool answer)
    {
        {
            std::lock_guard lock(mutex);
            if (yes)
                return;
            yes = answer;
        }
        settled.notify_all();
    }
};

} // namespace

// Owned only by the reply handles: the last one to go settles an open question with no.
struct PendingAnswer::Holder {
    std::shared_ptr<Decision> decision;
    ~Holder() { decision->settle(false); }
};

void PendingAnswer::answer(bool yes) const
{
    if (m_holder)
        m_holder->decision->settle(yes);
}

UiQuestion::UiQuestion(QObject *receiver, Presenter present) : m_receiver(receiver), m_present(std::move(present))
{
}

bool UiQuestion::ask(const ProfileQuestion &question, ProcessCancellation &cancellation) const
{
    QObject *application = QCoreApplication::instance();
    if (application == nullptr)
        return false;
    if (QThread::currentThread() == application->thread()) {
        assertMayBlock("UiQuestion::ask");
        qCWarning(lcRunners) << "UiQuestion::ask was called on the thread that must answer it; answering no";
        return false;
    }

    auto decision = std::make_shared<Decision>();
    if (!cancellation.arm([decision] { decision->settle(false); }))
        return false;

    PendingAnswer reply;
    reply.m_holder.reset(new PendingAnswer::Holder {decision});
    // The receiver is looked at only on its own thread, where it is deleted; when it is gone the
    // call drops the reply, and that answers no.
    QMetaObject::invokeMethod(
        application,
        [receiver = m_receiver, present = m_present, question, reply = std::move(reply)] {
            if (receiver)
                present(question, reply);
        },
        Qt::QueuedConnection);

    std::unique_lock lock(decision->mutex);
    decision->settled.wait(lock, [&] { return decision->yes.has_value(); });
    const bool yes = *decision->yes;
    lock.unlock();
    cancellation.disarm();
    return yes && !cancellation.isCanceled();
}
