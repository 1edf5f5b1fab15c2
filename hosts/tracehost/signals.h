#pragma once

#include <chrono>
#include <optional>

namespace tracehost {

/// The signals by which the program is steered, taken by one thread while all others block them.
class Signals
{
public:
    enum class Wish
    {
        end,    ///< SIGTERM or SIGINT; Ctrl-C, or the end of the console
        reopen, ///< SIGHUP
    };

    /// On the thread that is going to wait, ahead of all others, which inherit what is blocked. Ignores SIGPIPE, also.
    Signals();

    /// @param end  no value waits for ever
    /// @return nothing at `end`
    std::optional<Wish> waitUntil(std::optional<std::chrono::steady_clock::time_point> end) const;

    /// From here on SIGTERM and SIGINT end the process at once, also one that is pending.
    void endAtOnce() const;
};

} // namespace tracehost
