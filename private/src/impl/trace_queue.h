#pragma once

#include <common/log/trace/data_of_queue.h>

#include <boost/lockfree/queue.hpp>

#include <cstddef>

namespace common::log::trace {

/// Number of entries that the queue holds.
constexpr unsigned int kQueueSize = 3200;

/// The queue between the real-time threads, any number of which push, and the worker, which alone pops.
///
/// Real time  Never allocates behind its constructor, and never waits.
class TraceQueue
{
public:
    /// @throws std::bad_alloc
    TraceQueue() : m_entries(kQueueSize) {}

    /// @return false where the queue is full; it is then as it was
    bool push(DataOfQueue const & data) { return m_entries.bounded_push(data); }

    /// @return false where the queue is empty
    bool pop(DataOfQueue & data) { return m_entries.pop(data); }

private:
    boost::lockfree::queue<DataOfQueue, boost::lockfree::fixed_sized<true>> m_entries;
};

} // namespace common::log::trace
