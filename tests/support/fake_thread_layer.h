#pragma once

#include "support/stream_capture.h"

#include <common_zep/thread.h>

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace common::log::test {

/// The thread layer of an executable that links no other one: it answers what a test tells it to, starts nothing by
/// itself, and remembers every call. Exactly one has to live whenever the layer is called.
class FakeThreadLayer
{
public:
    struct Answers
    {
        std::uint32_t coresStatus = 0;
        std::uint32_t createStatus = 0;
        std::uint32_t joinStatus = 0;
        std::uint32_t exitCode = 1; ///< given out by a join of a worker that did not run on a thread
        std::uint32_t deleteStatus = 0;
        std::uint32_t cleanupStatus = 0;
    };

    /// @param stream  asked at each call for what it holds
    explicit FakeThreadLayer(StreamCapture const * stream);
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

    // What the functions of the layer do.
    void remember(std::string const & call);
    void keep(ZEP_ThreadEntry entry, void * argument);
    std::uint32_t join();

private:
    StreamCapture const * m_stream;
    std::vector<std::string> m_calls;
    std::vector<std::string> m_streams;
    ZEP_ThreadEntry m_entry = nullptr;
    void * m_argument = nullptr;
    std::thread m_worker;
    std::uint32_t m_workerExitCode = 0;
};

} // namespace common::log::test
