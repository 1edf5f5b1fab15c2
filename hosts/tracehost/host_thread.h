#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <thread>

namespace tracehost {

/// A thread whose end can be waited for with a limit, and whose system calls can be interrupted.
///
/// Ownership  The entry function must have been told to return before the destruction, which waits for it.
/// Threads    The owner's only.
class HostThread
{
public:
    /// Before the first thread of the program: prepares the signal that `interrupt` sends.
    static void prepare();

    HostThread() = default;
    HostThread(HostThread const &) = delete;
    HostThread & operator=(HostThread const &) = delete;
    ~HostThread();

    void start(std::function<void()> entry);

    /// Waits for the end of the entry function. True at once where nothing was started.
    bool waitFor(std::chrono::milliseconds limit) const;

    /// Makes the system call in which the thread waits fail with EINTR, so that a trace call comes back from a stream
    /// that nobody reads. One that the thread is just about to enter is missed: repeat it until the thread has ended.
    void interrupt();

    /// Valid once started.
    std::thread::native_handle_type handle() { return m_thread.native_handle(); }

private:
    std::future<void> m_ended;
    std::thread m_thread;
};

} // namespace tracehost
