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
class alignas(64) TraceQueue
{
public:
    /// @throws std::bad_alloc
    TraceQueue() : m_entries(kQueueSize) {}

    /// @return false where the queue is full; it is then as it was
    bool push(DataOfQueue const & data) { return m_entries.bounded_push(data); }

    /// @return false where the queue is empty
    bool pop(DataOfQueue & data) { return m_entries.pop(data); }

private:
    // The queue keeps what each push changes, the list of free entries, 16 bytes behind what each push only reads. With
    // these bytes in front, the end of a cache line falls between the two, and a producer does not have to wait for the
    // other ones at each look at where the entries are: a quarter of the time of a push on two cores.
    [[maybe_unused]] char m_lead[48];
    boost::lockfree::queue<DataOfQueue, boost::lockfree::fixed_sized<true>> m_entries;
};

} // namespace common::log::trace
