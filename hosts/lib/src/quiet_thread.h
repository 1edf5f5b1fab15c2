#pragma once

#include <functional>
#include <memory>

namespace common::log::host {

/// A thread for small side work: named, with a small stack (a host may lock its memory) and with all signals blocked,
/// so that those of the host go to the threads that expect them.
class QuietThread
{
public:
    /// @param name  at most 15 characters
    /// @param body  throws nothing
    /// @throws std::system_error  where the system refuses another thread
    QuietThread(char const * name, std::function<void()> body);
    QuietThread(QuietThread const &) = delete;
    QuietThread & operator=(QuietThread const &) = delete;
    ~QuietThread(); ///< waits for the end of the body

private:
    struct Thread;
    std::unique_ptr<Thread> m_thread;
};

/// Has `function` called in each child that a fork makes from now on, before the fork returns there. For ever.
///
/// @throws std::system_error  where the system refuses
void callInForkedChildren(void (*function)());

} // namespace common::log::host
