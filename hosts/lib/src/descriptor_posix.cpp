#include "descriptor.h"

#include <cerrno>
#include <csignal>
#include <ctime>

#include <poll.h>
#include <pthread.h>
#include <unistd.h>

namespace common::log::host {

namespace {

using Clock = std::chrono::steady_clock;

/// Blocks SIGPIPE on this thread, where that is wanted.
class PipeSignalGuard
{
public:
    explicit PipeSignalGuard(bool isWanted)
    {
        if (!isWanted) {
            return;
        }
        // One that pends already is somebody else's. It is blocked then, and a second one adds nothing to it.
        sigset_t pending;
        (void)sigpending(&pending);
        m_isActive = sigismember(&pending, SIGPIPE) == 0;
        if (m_isActive) {
            (void)sigemptyset(&m_signal);
            (void)sigaddset(&m_signal, SIGPIPE);
            (void)pthread_sigmask(SIG_BLOCK, &m_signal, &m_previous);
        }
    }
    PipeSignalGuard(PipeSignalGuard const &) = delete;
    PipeSignalGuard & operator=(PipeSignalGuard const &) = delete;
    ~PipeSignalGuard()
    {
        if (m_isActive) {
            (void)pthread_sigmask(SIG_SETMASK, &m_previous, nullptr);
        }
    }

    /// Behind a write that raised it, and only there: any other is not ours.
    void takeRaised()
    {
        timespec const atOnce{};
        while (m_isActive && sigtimedwait(&m_signal, nullptr, &atOnce) < 0 && errno == EINTR) {
        }
    }

private:
    sigset_t m_signal{};
    sigset_t m_previous{};
    bool m_isActive = false;
};

Loss lossOf(int error)
{
    switch (error) {
    case EPIPE:
    case ECONNRESET:
        return Loss::readerGone;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return Loss::noSpace;
    case EIO:
        return Loss::inputOutput;
    case EBADF:
        return Loss::badDescriptor;
    default:
        return Loss::other;
    }
}

bool waitUntilWritable(int descriptor, Clock::time_point limit)
{
    // Rounded up: rounded down, the last millisecond would be spent asking again and again.
    auto const left = std::chrono::ceil<std::chrono::milliseconds>(limit - Clock::now());
    if (left.count() <= 0) {
        return false;
    }
    pollfd request{descriptor, POLLOUT, 0};
    (void)poll(&request, 1, static_cast<int>(left.count())); // the next write tells what came of it
    return true;
}

} // namespace

WriteOutcome writeWhole(int descriptor, std::string_view text, std::chrono::milliseconds patience,
                        bool holdsOffPipeSignal)
{
    PipeSignalGuard guard(holdsOffPipeSignal);
    WriteOutcome outcome;
    std::optional<Clock::time_point> limit;
    while (outcome.written < text.size()) {
        ssize_t const written = write(descriptor, text.data() + outcome.written, text.size() - outcome.written);
        if (written > 0) {
            outcome.written += static_cast<std::size_t>(written);
            limit.reset();
        } else if (written == 0) {
            outcome.loss = Loss::other; // no error, but no progress either
            return outcome;
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            if (!limit) {
                limit = Clock::now() + patience;
            }
            if (!waitUntilWritable(descriptor, *limit)) {
                outcome.loss = Loss::readerStalled;
                return outcome;
            }
        } else if (errno != EINTR) {
            int const error = errno;
            if (error == EPIPE) {
                guard.takeRaised();
            }
            outcome.loss = lossOf(error);
            return outcome;
        }
    }
    return outcome;
}

bool isPipeSignalDeadly()
{
    struct sigaction action = {};
    return sigaction(SIGPIPE, nullptr, &action) == 0 && (action.sa_flags & SA_SIGINFO) == 0 &&
           action.sa_handler == SIG_DFL;
}

} // namespace common::log::host
