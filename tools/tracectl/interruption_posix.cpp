#include "interruption.h"

#include <cerrno>
#include <initializer_list>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace tracectl {

namespace {

sigset_t interruptions()
{
    sigset_t signals;
    (void)::sigemptyset(&signals);
    for (int const signal : {SIGINT, SIGTERM, SIGHUP}) {
        (void)::sigaddset(&signals, signal);
    }
    return signals;
}

} // namespace

Interruption::Interruption()
{
    sigset_t const signals = interruptions();
    (void)::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    m_descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (m_descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "signals cannot be taken");
    }
}

Interruption::~Interruption()
{
    // One that waits has been served by the end of the command, and would end the program by itself now.
    signalfd_siginfo taken{};
    while (::read(m_descriptor, &taken, sizeof taken) > 0) {
    }
    (void)::close(m_descriptor);
    sigset_t const signals = interruptions();
    (void)::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

bool Interruption::isAheadOf(std::chrono::milliseconds time) const
{
    auto const end = std::chrono::steady_clock::now() + time;
    for (;;) {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd waiting{m_descriptor, POLLIN, 0};
        int const ready = ::poll(&waiting, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        if (ready > 0) {
            return true;
        }
        if (left.count() <= 0) {
            return false;
        }
    }
}

} // namespace tracectl
