#include "signals.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <initializer_list>
#include <pthread.h>

namespace tracehost {

namespace {

sigset_t setOf(std::initializer_list<int> signals)
{
    sigset_t set;
    sigemptyset(&set);
    for (int const signal : signals) {
        sigaddset(&set, signal);
    }
    return set;
}

} // namespace

Signals::Signals()
{
    sigset_t const taken = setOf({SIGTERM, SIGINT, SIGHUP});
    (void)::pthread_sigmask(SIG_BLOCK, &taken, nullptr);
    // A shell starts what it puts to the background with SIGINT ignored, and nohup does the same to SIGHUP. Here they
    // count, and a second SIGINT has to end the process.
    for (int const signal : {SIGTERM, SIGINT, SIGHUP}) {
        (void)std::signal(signal, SIG_DFL);
    }
    (void)std::signal(SIGPIPE, SIG_IGN);
}

std::optional<Signals::Wish> Signals::waitUntil(std::optional<std::chrono::steady_clock::time_point> end) const
{
    sigset_t const taken = setOf({SIGTERM, SIGINT, SIGHUP});
    while (true) {
        timespec timeout{};
        if (end) {
            auto const left = std::max(*end - std::chrono::steady_clock::now(), std::chrono::nanoseconds(0));
            timeout.tv_sec = static_cast<std::time_t>(left.count() / 1'000'000'000);
            timeout.tv_nsec = static_cast<long>(left.count() % 1'000'000'000);
        }
        int const signal = ::sigtimedwait(&taken, nullptr, end ? &timeout : nullptr);
        if (signal == SIGHUP) {
            return Wish::reopen;
        }
        if (signal > 0) {
            return Wish::end;
        }
        if (end && std::chrono::steady_clock::now() >= *end) {
            return std::nullopt;
        }
    }
}

void Signals::endAtOnce() const
{
    sigset_t const ending = setOf({SIGTERM, SIGINT});
    (void)::pthread_sigmask(SIG_UNBLOCK, &ending, nullptr);
}

} // namespace tracehost
