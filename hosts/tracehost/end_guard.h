#pragma once

#include "host_thread.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace tracehost {

/// Ends the program where its orderly end gets stuck, as it does behind a reader of the error stream that has stopped:
/// then nothing can be written, and nothing that waits for a write comes back.
///
/// Threads  The owner's only; the two functions run on a thread of the guard's.
class EndGuard
{
public:
    using Progress = std::function<std::uint64_t()>;

    /// @param progress  changes as long as the end gets on
    /// @param giveUp    called once, when it has not changed for five seconds. Must not return.
    EndGuard(Progress progress, std::function<void()> giveUp);
    ~EndGuard(); ///< the end is reached

private:
    void watch(Progress const & progress, std::function<void()> const & giveUp);

    std::mutex m_mutex;
    std::condition_variable m_reached;
    bool m_hasReached = false;
    HostThread m_thread; // the last: it uses all the others
};

} // namespace tracehost
