#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <thread>
#include <vector>

namespace common::log::test {

/// A child process whose standard input, output and error stream are pipes of this process. What it writes is gathered
/// as it comes, so that it never waits for the test. Killed at the end, if it still runs then.
class Process
{
public:
    /// @param arguments      the program's path first
    /// @param standardInput  taken instead of a pipe, and left open here
    explicit Process(std::vector<std::string> const & arguments, int standardInput = -1);
    Process(Process const &) = delete;
    Process & operator=(Process const &) = delete;
    ~Process();

    void write(std::string_view text) const;
    void closeInput();
    void send(int signal) const;

    /// What becomes of the child's error stream from here on: read, which is how it begins, left in its pipe until the
    /// child ends, or closed, so that the child's next write to it fails.
    enum class Reader
    {
        reads,
        stalls,
        closes,
    };
    void setErrorReader(Reader reader);

    /// With a reader that stalls: whether the child had no room left in the pipe before `kLongWait` had passed.
    bool waitUntilErrorsAreStalled();

    std::string output() const;
    std::string errors() const;

    /// Whether `condition` became true of the error stream before `kLongWait` had passed.
    bool waitForErrors(std::function<bool(std::string const & errors)> const & condition);
    bool waitForErrors(std::string const & text);

    /// Waits for the end and for the last of both streams.
    ///
    /// @return the exit status, 128 and the number of the signal that ended it, or -1 after `kLongWait`
    int wait();

private:
    void gather();
    void reap();

    pid_t m_child = -1;
    int m_status = -1;
    int m_input = -1;
    int m_streams[2]{-1, -1}; ///< output, errors
    mutable std::mutex m_mutex;
    std::condition_variable m_hasChanged;
    std::string m_texts[2];
    bool m_isErrorPipeFull = false;
    Reader m_errorReader = Reader::reads;
    std::thread m_gatherer;
};

/// The longest wait for what is sure to come, also in a slow build on a busy machine.
constexpr std::chrono::seconds kLongWait(60);

} // namespace common::log::test
