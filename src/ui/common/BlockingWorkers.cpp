#include "ui/common/BlockingWorkers.h"

#include <QThreadPool>

namespace {

// More than the screens ever run at once (each model runs one job at a time).
constexpr int kMostAtOnce = 16;

struct Workers : QThreadPool {
    Workers() { setMaxThreadCount(kMostAtOnce); }
};

Q_GLOBAL_STATIC(Workers, workers)

} // namespace

QThreadPool *blockingWorkers()
{
    return workers();
}
