#include "services/ChildProcess.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>
#if defined(__APPLE__)
#include <sys/event.h>
#endif

extern char **environ;

namespace {

using Clock = std::chrono::steady_clock;

// How long a cancelled child and its descendants get to clean up after SIGTERM.
constexpr auto kTerminationGrace = std::chrono::seconds(2);
// When nothing tells us of the exit, how often we look whether the child has exited.
constexpr int kExitPollMilliseconds = 10;

QString describeErrno(int error)
{
    return QString::fromLocal8Bit(std::strerror(error));
}

void setCloseOnExecAndNonBlocking(int fd)
{
    ::fcntl(fd, F_SETFD, ::fcntl(fd, F_GETFD) | FD_CLOEXEC);
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
}

// Returns 0 or the errno of the failure.
int makePipe(int fds[2])
{
#if defined(__linux__)
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return errno;
#else
    if (::pipe(fds) != 0)
        return errno;
    ::fcntl(fds[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(fds[1], F_SETFD, FD_CLOEXEC);
#endif
    // Only our end is non-blocking; the child's stays as programs expect it.
    setCloseOnExecAndNonBlocking(fds[0]);
    return 0;
}

void closeIfOpen(int &fd)
{
    if (fd >= 0)
        ::close(fd);
    fd = -1;
}

// Signals the whole group to end. A stopped process keeps SIGTERM pending until it runs again, so
// the group is continued too: a child stopped by a debugger or a `kill -STOP` still gets its chance
// to clean up instead of waiting out the grace for SIGKILL.
void terminateGroup(pid_t group)
{
    ::kill(-group, SIGTERM);
    ::kill(-group, SIGCONT);
}

} // namespace

// Linux: a pidfd, polled with the pipes. macOS: a kqueue that watches the pipes and the child's
// exit (EVFILT_PROC), so neither platform wakes up on a timer while the child runs.
int ChildProcess::openExitDescriptor()
{
#if defined(__linux__) && defined(SYS_pidfd_open)
    // TARNWICK_POLL_FOR_EXIT makes Linux look for the exit on a timer, so that path is tested.
    static const bool pollForExit = qEnvironmentVariableIsSet("TARNWICK_POLL_FOR_EXIT");
    if (pollForExit)
        return -1;
    return static_cast<int>(::syscall(SYS_pidfd_open, m_pid, 0));
#elif defined(__APPLE__)
    const int queue = ::kqueue();
    if (queue < 0)
        return -1;
    ::fcntl(queue, F_SETFD, FD_CLOEXEC);
    struct kevent changes[3];
    int count = 0;
    for (int fd : {m_out, m_err, m_wakeRead}) {
        if (fd >= 0)
            EV_SET(&changes[count++], static_cast<uintptr_t>(fd), EVFILT_READ, EV_ADD, 0, 0, nullptr);
    }
    if (::kevent(queue, changes, count, nullptr, 0, nullptr) != 0) {
        ::close(queue);
        return -1;
    }
    struct kevent watchExit {};
    EV_SET(&watchExit, static_cast<uintptr_t>(m_pid), EVFILT_PROC, EV_ADD | EV_ONESHOT, NOTE_EXIT, 0, nullptr);
    if (::kevent(queue, &watchExit, 1, nullptr, 0, nullptr) != 0) {
        if (errno != ESRCH) {
            ::close(queue);
            return -1;
        }
        m_exitNoticed = true; // gone already
    }
    return queue;
#else
    return -1;
#endif
}

bool ChildProcess::waitForActivity(int timeoutMilliseconds)
{
#if defined(__APPLE__)
    if (m_exitFd >= 0) {
        // A descriptor closed after end of file leaves the queue by itself.
        timespec timeout {timeoutMilliseconds / 1000, (timeoutMilliseconds % 1000) * 1000000L};
        struct kevent events[4];
        const int count = ::kevent(m_exitFd, nullptr, 0, events, 4, timeoutMilliseconds < 0 ? nullptr : &timeout);
        if (count < 0)
            return errno == EINTR;
        for (int i = 0; i < count; ++i) {
            if (events[i].filter == EVFILT_PROC)
                m_exitNoticed = true;
        }
        return true;
    }
#endif
    pollfd fds[4];
    nfds_t count = 0;
    for (int fd : {m_out, m_err, m_wakeRead, m_exitFd}) {
        if (fd >= 0)
            fds[count++] = pollfd {fd, POLLIN, 0};
    }
    return ::poll(fds, count, timeoutMilliseconds) >= 0 || errno == EINTR;
}

bool ChildProcess::exitIsWatched() const
{
#if defined(__APPLE__)
    // The exit note may arrive a moment before waitid() can see the exit: look again on a timer.
    return m_exitFd >= 0 && !m_exitNoticed;
#else
    return m_exitFd >= 0;
#endif
}

namespace {

// Owns the C strings handed to posix_spawn.
struct CStringList {
    std::vector<QByteArray> storage;
    std::vector<char *> pointers;

    void append(QByteArray value) { storage.push_back(std::move(value)); }
    char **terminated()
    {
        pointers.clear();
        for (auto &value : storage)
            pointers.push_back(value.data());
        pointers.push_back(nullptr);
        return pointers.data();
    }
};

} // namespace

ChildProcess::ChildProcess(const QString &executable, const QStringList &arguments,
                           const std::optional<Environment> &environment, Output output)
{
    const QByteArray path = QFile::encodeName(executable);
    // exec reports a directory as "Permission denied"; say what is really wrong.
    struct stat info {};
    if (::stat(path.constData(), &info) == 0 && S_ISDIR(info.st_mode))
        throw ProcessLaunchError(executable, describeErrno(EISDIR));

    CStringList argv;
    argv.append(path);
    for (const QString &argument : arguments)
        argv.append(argument.toUtf8());

    CStringList envp;
    if (environment) {
        for (auto it = environment->cbegin(); it != environment->cend(); ++it)
            envp.append((it.key() + QLatin1Char('=') + it.value()).toUtf8());
    }

    int outPipe[2] = {-1, -1};
    int errPipe[2] = {-1, -1};
    int wakePipe[2] = {-1, -1};
    int pipeError = makePipe(outPipe);
    if (pipeError == 0 && output == Output::separate)
        pipeError = makePipe(errPipe);
    if (pipeError == 0)
        pipeError = makePipe(wakePipe);
    m_out = outPipe[0];
    m_err = errPipe[0];
    m_wakeRead = wakePipe[0];
    m_wakeWrite = wakePipe[1];
    if (pipeError != 0) { // out of descriptors, most likely
        closeIfOpen(outPipe[1]);
        closeIfOpen(errPipe[1]);
        closeDescriptors();
        throw ProcessLaunchError(executable, describeErrno(pipeError));
    }
    ::fcntl(m_wakeWrite, F_SETFL, ::fcntl(m_wakeWrite, F_GETFL) | O_NONBLOCK);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, outPipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output == Output::separate ? errPipe[1] : outPipe[1],
                                     STDERR_FILENO);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
#if defined(POSIX_SPAWN_SETSID)
    // A session of its own: no controlling terminal (sudo behaves as it does under the app), and
    // one process group that cancelling can signal as a whole.
    flags |= POSIX_SPAWN_SETSID;
#else
    flags |= POSIX_SPAWN_SETPGROUP;
    posix_spawnattr_setpgroup(&attributes, 0);
#endif
#if defined(POSIX_SPAWN_CLOEXEC_DEFAULT)
    flags |= POSIX_SPAWN_CLOEXEC_DEFAULT; // inherit only the three descriptors set up above
#endif
    posix_spawnattr_setflags(&attributes, flags);
    sigset_t noSignals;
    sigemptyset(&noSignals);
    posix_spawnattr_setsigmask(&attributes, &noSignals);
    // Signals we ignore would stay ignored in the child; give it the defaults back.
    sigset_t defaults;
    sigemptyset(&defaults);
    for (int signal : {SIGPIPE, SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGCHLD, SIGALRM, SIGUSR1,
                       SIGUSR2, SIGTSTP, SIGTTIN, SIGTTOU})
        sigaddset(&defaults, signal);
    posix_spawnattr_setsigdefault(&attributes, &defaults);

    const int result = ::posix_spawn(&m_pid, path.constData(), &actions, &attributes,
                                     argv.terminated(), environment ? envp.terminated() : environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    ::close(outPipe[1]);
    if (errPipe[1] >= 0)
        ::close(errPipe[1]);

    if (result != 0) {
        m_pid = -1;
        closeDescriptors();
        throw ProcessLaunchError(executable, describeErrno(result));
    }
    m_exitFd = openExitDescriptor();
}

ChildProcess::~ChildProcess()
{
    // Only reached unreaped when a data handler threw: don't leave the child behind.
    if (m_pid > 0 && !m_reaped) {
        signalGroup(SIGKILL);
        reap();
    }
    closeDescriptors();
}

void ChildProcess::closeDescriptors()
{
    closeIfOpen(m_out);
    closeIfOpen(m_err);
    closeIfOpen(m_wakeRead);
    closeIfOpen(m_wakeWrite);
    closeIfOpen(m_exitFd);
}

bool ChildProcess::leaderHasExited() const
{
    siginfo_t info {};
    // WNOWAIT leaves the child a zombie: its process group id cannot be reused until we reap it.
    while (::waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0) {
        if (errno != EINTR)
            return true; // not our child any more: nothing left to wait for
    }
    // macOS also reports a stopped child here, WEXITED or not; it has not exited, and may go on
    // writing once continued.
    return info.si_pid == m_pid
        && (info.si_code == CLD_EXITED || info.si_code == CLD_KILLED || info.si_code == CLD_DUMPED);
}

void ChildProcess::signalGroup(int signal) const
{
    ::kill(-m_pid, signal);
}

void ChildProcess::readAvailable(int &fd, Stream stream, const DataHandler &onData, ReadLimit limit)
{
    if (fd < 0)
        return;
    // A chunk at a time while the child runs, so a child that never stops writing cannot keep us
    // from noticing its exit; after the exit only what is in the pipe now, so a grandchild that
    // keeps writing cannot hold us here either.
    int budget = 1 << 20;
    if (limit == ReadLimit::whatIsBuffered && ::ioctl(fd, FIONREAD, &budget) != 0)
        budget = 0;
    char buffer[65536];
    while (budget > 0) {
        const ssize_t count = ::read(fd, buffer, std::min<size_t>(sizeof buffer, static_cast<size_t>(budget)));
        if (count > 0) {
            if (onData)
                onData(stream, buffer, count);
            budget -= static_cast<int>(count);
            continue;
        }
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
            return;
        closeIfOpen(fd); // end of file, or an error we cannot do anything about
        return;
    }
}

std::int32_t ChildProcess::waitForExit(ProcessCancellation *cancellation, const DataHandler &onData)
{
    std::optional<Clock::time_point> killAt;
    if (cancellation) {
        const pid_t group = m_pid;
        const int wake = m_wakeWrite;
        const bool armed = cancellation->arm([group, wake] {
            terminateGroup(group);
            const char byte = 'x';
            [[maybe_unused]] auto written = ::write(wake, &byte, 1);
        });
        if (!armed) { // cancelled before we got here
            terminateGroup(m_pid);
            killAt = Clock::now() + kTerminationGrace;
        }
    }

    for (;;) {
        int timeout = exitIsWatched() ? -1 : kExitPollMilliseconds;
        if (killAt) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(*killAt - Clock::now());
            const int leftMs = static_cast<int>(std::max<long long>(0, left.count()));
            timeout = timeout < 0 ? leftMs : std::min(timeout, leftMs);
        }
        if (!waitForActivity(timeout))
            break;

        readAvailable(m_out, Stream::out, onData, ReadLimit::chunk);
        readAvailable(m_err, Stream::err, onData, ReadLimit::chunk);
        char drain[64];
        while (m_wakeRead >= 0 && ::read(m_wakeRead, drain, sizeof drain) > 0) {
            if (!killAt)
                killAt = Clock::now() + kTerminationGrace;
        }

        if (leaderHasExited())
            break;
        if (killAt && Clock::now() >= *killAt) {
            signalGroup(SIGKILL);
            killAt = Clock::now() + std::chrono::hours(1); // once is enough; the exit follows
        }
    }

    // From here on no cancel may signal the group: the leader is about to be reaped.
    if (cancellation)
        cancellation->disarm();
    readAvailable(m_out, Stream::out, onData, ReadLimit::whatIsBuffered);
    readAvailable(m_err, Stream::err, onData, ReadLimit::whatIsBuffered);
    if (cancellation && cancellation->isCanceled())
        waitForStragglers();
    return reap();
}

void ChildProcess::waitForStragglers()
{
    // The leader is gone but what it started got the same SIGTERM and may still be cleaning up.
    // They hold our pipes until they exit; give them the grace, then take down whatever is left.
    // The leader is still unreaped, so the group id is still ours to signal.
    const auto deadline = Clock::now() + kTerminationGrace;
    while ((m_out >= 0 || m_err >= 0) && Clock::now() < deadline) {
        pollfd fds[2];
        nfds_t count = 0;
        for (int fd : {m_out, m_err}) {
            if (fd >= 0)
                fds[count++] = pollfd {fd, POLLIN, 0};
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (::poll(fds, count, static_cast<int>(std::max<long long>(1, left.count()))) < 0 && errno != EINTR)
            break;
        readAvailable(m_out, Stream::out, nullptr, ReadLimit::chunk);
        readAvailable(m_err, Stream::err, nullptr, ReadLimit::chunk);
    }
    signalGroup(SIGKILL);
}

std::int32_t ChildProcess::reap()
{
    int status = 0;
    pid_t result;
    do {
        result = ::waitpid(m_pid, &status, 0);
    } while (result < 0 && errno == EINTR);
    m_reaped = true;
    if (result < 0)
        return -1;
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return -1;
}
