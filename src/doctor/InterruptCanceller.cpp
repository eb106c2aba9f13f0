#include "doctor/InterruptCanceller.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

int g_interruptPipe = -1;

void onInterrupt(int)
{
    const char byte = 'i';
    [[maybe_unused]] auto written = ::write(g_interruptPipe, &byte, 1);
}

} // namespace

InterruptCanceller::InterruptCanceller(ProcessCancellation &cancellation)
{
    if (::pipe(m_pipe) != 0)
        return; // without a pipe Ctrl-C keeps its default effect
    ::fcntl(m_pipe[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(m_pipe[1], F_SETFD, FD_CLOEXEC);
    g_interruptPipe = m_pipe[1];
    m_watcher = std::thread([this, &cancellation] {
        char byte = 0;
        while (::read(m_pipe[0], &byte, 1) == 1) {
            if (byte == 'q')
                return;
            m_interrupted = true;
            cancellation.cancel();
        }
    });
    struct sigaction action {};
    action.sa_handler = &onInterrupt;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
}

InterruptCanceller::~InterruptCanceller()
{
    if (m_pipe[1] < 0)
        return;
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
    const char quit = 'q';
    [[maybe_unused]] auto written = ::write(m_pipe[1], &quit, 1);
    m_watcher.join();
    g_interruptPipe = -1;
    ::close(m_pipe[0]);
    ::close(m_pipe[1]);
}
