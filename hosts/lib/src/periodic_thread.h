#pragma once

#include "quiet_thread.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace common::log::host {

/// Calls a function again and again, on a thread of its own, with a pause ahead of each call. Nothing wakes it up before
/// its time but the end: a wake-up would be a system call of the thread that has something for it.
///
/// Threads    `end` one call at a time, and not from the function.
class PeriodicThread
{
public:
    /// @param name  at most 15 characters
    /// @param body  throws nothing
    /// @throws std::system_error  where the system refuses another thread
    PeriodicThread(char const * name, std::chrono::milliseconds pause, std::function<void()> body);
    PeriodicThread(PeriodicThread const &) = delete;
    PeriodicThread & operator=(PeriodicThread const &) = delete;
    ~PeriodicThread();

    /// Waits for the end of a call that is under way.
    void end();

private:
    void run();

    std::chrono::milliseconds const m_pause;
    std::function<void()> const m_body;
    std::mutex m_mutex;
    std::condition_variable m_ending;
    bool m_isEnding = false;
    std::unique_ptr<QuietThread> m_thread;
};

} // namespace common::log::host
