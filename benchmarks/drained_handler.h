#pragma once

#include <common/log/trace.h>

#include <memory>

namespace common::log::benchmarks {

/// A handler whose queue is written when the program says so, on the thread that says so. What is measured beside it is
/// then neither disturbed by a worker on the other core nor short of room.
///
/// Behind it stands a thread layer of its own, so that a program has this or the real one. One object at a time.
class DrainedHandler
{
public:
    /// Entries that may be pushed between two drains: the queue's 3200, but for the one that ends a drain.
    static constexpr unsigned int kRoom = 3199;

    std::shared_ptr<trace::Handler> const & handler() const { return m_handler; }

    /// Runs the worker's entry function until the queue is empty. It adds its own two records, of start and end.
    void drain();

private:
    std::shared_ptr<trace::Handler> m_handler = std::make_shared<trace::Handler>();
};

} // namespace common::log::benchmarks
