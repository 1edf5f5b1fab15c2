#pragma once

#include <common/log/printf_format.h>
#include <common_zep/thread.h>

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace common::log::test {

class StreamCapture;

/// The thread layer of an executable that links no other one: it answers what a test tells it to, starts nothing by
/// itself, and remembers every call. One at a time; without one, each call fails.
class FakeThreadLayer
{
public:
    struct Answers
    {
        std::uint32_t coresStatus = 0;
        std::uint64_t cores = 0x5;
        std::uint32_t createStatus = 0;
        std::uint64_t handle = 0x700000007U; ///< 0 leaves the caller's handle as it is
        std::uint32_t joinStatus = 0;
        std::uint32_t exitCode = 1; ///< given out by a join of a worker that did not run on a thread
        std::uint32_t deleteStatus = 0;
        std::uint32_t cleanupStatus = 0;
    };

    /// @param stream  may be null; otherwise asked at each call for what it holds
    explicit FakeThreadLayer(StreamCapture const * stream = nullptr);
    FakeThreadLayer(FakeThreadLayer const &) = delete;
    FakeThreadLayer & operator=(FakeThreadLayer const &) = delete;
    ~FakeThreadLayer();

    Answers answers;
    /// Runs inside of a join, on the thread that waits, ahead of the answer.
    std::function<void()> whileJoining;

    /// The calls so far, with their arguments, and with what the caller's variables held.
    std::vector<std::string> const & calls() const { return m_calls; }
    /// What stood on the stream when the call of that position came.
    std::string const & streamAtCall(std::size_t position) const { return m_streams.at(position); }
    /// What the entry function is to get.
    void * argument() const { return m_argument; }

    /// Runs the worker on this thread, until it ends.
    std::uint32_t runWorker() const { return m_entry(m_argument); }
    /// Runs the worker on a thread of its own, which a join waits for without a limit.
    void startWorker();

    // What the functions of the layer do with their arguments.
    std::uint32_t getUsableCores(std::uint64_t * cores);
    std::uint32_t create(std::uint64_t * handle, char const * name, ZEP_ThreadEntry entry, void * argument,
                         std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores, bool reserved);
    std::uint32_t join(std::uint64_t handle, std::uint32_t timeoutMilliseconds, std::uint32_t * exitCode);
    std::uint32_t remove(std::uint64_t handle);
    std::uint32_t cleanup(std::uint64_t handle);

private:
    void remember(char const * format, ...) COMMON_LOG_PRINTF_FORMAT(2, 3);

    StreamCapture const * m_stream;
    std::vector<std::string> m_calls;
    std::vector<std::string> m_streams;
    ZEP_ThreadEntry m_entry = nullptr;
    void * m_argument = nullptr;
    std::thread m_worker;
    std::uint32_t m_workerExitCode = 0;
};

} // namespace common::log::test
