#include "StartupReport.h"

#include <QQuickWindow>
#include <QtGlobal>

#include <atomic>
#include <cstdio>
#include <ctime>
#include <memory>

#if defined(Q_OS_LINUX)
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#elif defined(Q_OS_MACOS)
#include <sys/sysctl.h>
#include <sys/time.h>
#include <unistd.h>
#endif

namespace StartupReport {

bool isRequested()
{
    return qEnvironmentVariableIntValue("TARNWICK_REPORT_FIRST_FRAME") == 1;
}

double millisecondsSinceProcessStart()
{
#if defined(Q_OS_LINUX)
    // Field 22 of /proc/self/stat: the start in clock ticks since boot (so up to one tick, 10 ms,
    // late). The command name before it is in parentheses and may hold spaces: count from the
    // last ')'.
    std::ifstream file("/proc/self/stat");
    const std::string stat((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const auto close = stat.rfind(')');
    if (close == std::string::npos)
        return -1;
    unsigned long long startTicks = 0;
    if (std::sscanf(stat.c_str() + close + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d %llu",
                    &startTicks) != 1)
        return -1;
    timespec now {};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const double nowMs = double(now.tv_sec) * 1000.0 + double(now.tv_nsec) / 1e6;
    return nowMs - double(startTicks) * 1000.0 / double(sysconf(_SC_CLK_TCK));
#elif defined(Q_OS_MACOS)
    int query[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, getpid()};
    kinfo_proc info {};
    size_t size = sizeof info;
    if (sysctl(query, 4, &info, &size, nullptr, 0) != 0)
        return -1;
    timeval now {};
    gettimeofday(&now, nullptr);
    const timeval &start = info.kp_proc.p_starttime;
    return double(now.tv_sec - start.tv_sec) * 1000.0 + double(now.tv_usec - start.tv_usec) / 1000.0;
#else
    return -1;
#endif
}

void print(const char *event)
{
    std::printf("%s %.1f\n", event, millisecondsSinceProcessStart());
    std::fflush(stdout);
}

void reportFirstFrame(QQuickWindow *window)
{
    // frameSwapped comes from the render thread when there is one: answer there, without a hop
    // through the UI thread's queue, which would add its own wait to the figure.
    auto reported = std::make_shared<std::atomic<bool>>(false);
    QObject::connect(window, &QQuickWindow::frameSwapped, window, [reported] {
        if (!reported->exchange(true))
            print("first-frame");
    }, Qt::DirectConnection);
}

} // namespace StartupReport
