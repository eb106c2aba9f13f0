#include "doctor/InterruptCanceller.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

int g_interruptPipe = -1;

void onSignal(int number)
{
    const char byte = static_cast<char>(number); // all three are below 128
    [[maybe_unused]] auto written = ::write(g_interruptPipe, &byte, 1);
}

} // namespace

InterruptCanceller::InterruptCanceller(ProcessCancellation &cancellation)
{
    if (::pipe(m_pipe) != 0)
        return; // without a pipe the signals keep their default effect
    ::fcntl(m_pipe[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(m_pipe[1], F_SETFD, FD_CLOEXEC);
    g_interruptPipe = m_pipe[1];
    m_watcher = std::thread([this, &cancellation] {
        char byte = 0;
        while (::read(m_pipe[0], &byte, 1) == 1) {
            if (byte == 0)
                return;
            int expected = 0;
            m_signal.compare_exchange_strong(expected, byte);
            cancellation.cancel();
        }
    });
    struct sigaction action {};
    action.sa_handler = &onSignal;
    sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < std::size(kSignals); ++i)
        ::sigaction(kSignals[i], &action, &m_previous[i]);
}

InterruptCanceller::~InterruptCanceller()
{
    if (m_pipe[1] < 0)
        return;
    for (std::size_t i = 0; i < std::size(kSignals); ++i)
        ::sigaction(kSignals[i], &m_previous[i], nullptr);
    const char quit = 0;
    [[maybe_unused]] auto written = ::write(m_pipe[1], &quit, 1);
    m_watcher.join();
    g_interruptPipe = -1;
    ::close(m_pipe[0]);
    ::close(m_pipe[1]);
}
