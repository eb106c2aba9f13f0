#include "services/BlockingCallGuard.h"

#include <QThread>
#include <QtGlobal>

#include <atomic>

namespace {

std::atomic<QThread *> forbiddenThread {nullptr};

} // namespace

bool blockingCallsAreChecked()
{
#ifdef NDEBUG
    return false;
#else
    return true;
#endif
}

void forbidBlockingCallsOn(QThread *thread)
{
    forbiddenThread.store(thread);
}

void assertMayBlock(const char *call)
{
    if (!blockingCallsAreChecked())
        return;
    QThread *forbidden = forbiddenThread.load();
    if (forbidden != nullptr && QThread::currentThread() == forbidden)
        qFatal("%s blocks, and was called on the UI thread; run it on a worker (QtConcurrent::run) "
               "and send the result back with a queued call", call);
}
