#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <thread>

namespace tracehost {

/// A thread whose end can be waited for with a limit.
///
/// Ownership  The entry function must have been told to return before the destruction, which waits for it.
/// Threads    The owner's only.
class HostThread
{
public:
    HostThread() = default;
    HostThread(HostThread const &) = delete;
    HostThread & operator=(HostThread const &) = delete;
    ~HostThread();

    void start(std::function<void()> entry);

    /// Waits for the end of the entry function, as the destruction does. Returns at once where nothing was started.
    void join();

    /// Waits for the end of the entry function. True at once where nothing was started.
    bool waitFor(std::chrono::milliseconds limit) const;

    /// Valid once started.
    std::thread::native_handle_type handle() { return m_thread.native_handle(); }

private:
    std::future<void> m_ended;
    std::thread m_thread;
};

} // namespace tracehost
