#pragma once

#include <common/log/trace.h>

#include <functional>
#include <memory>
#include <streambuf>

namespace common::log::test {

/// A handler, a unit with all severities on, and one with none. No worker runs: the queue keeps what is pushed until
/// somebody drains it, so that every state of the road can be held as long as a test needs it. The error stream is
/// silent meanwhile.
///
/// Threads  One object at a time, on one thread: behind it stands the thread layer of this test program.
class Road
{
public:
    /// What the queue takes before it is full.
    static constexpr unsigned int kQueueSize = 3200;

    Road();
    Road(Road const &) = delete;
    Road & operator=(Road const &) = delete;
    ~Road();

    trace::CountedLog & unit() { return *m_unit; }
    trace::CountedLog & silentUnit() { return *m_silentUnit; }
    trace::Handler & handler() { return *m_handler; }

    /// Lets the worker's entry function run on this thread until it has written what is queued. The queue must not be
    /// full, since the entry that ends the worker has to fit in.
    void drain();

    /// Destroys the handler, and calls `work` at the point where the destructor waits for its worker.
    void shutDown(std::function<void()> const & work);

private:
    std::streambuf * m_stream;
    std::unique_ptr<trace::Handler> m_handler;
    trace::CallAccount m_account; // of both
    std::unique_ptr<trace::CountedLog> m_unit;
    std::unique_ptr<trace::CountedLog> m_silentUnit;
};

} // namespace common::log::test
