#pragma once

#include <common/log/clock.h>
#include <common/log/export.h>
#include <common/log/printf_format.h>
#include <common/log/snap_name.h>
#include <common/log/trace/data_of_queue.h>
#include <common/log/trace/trace_result.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace common::log::trace {

class TraceQueue;

/// The queue behind the real-time calls, and the thread "TraceHandler" that writes what is in it.
///
/// The constructor starts the thread. Where that fails, a record on the stream tells it and the object stays usable:
/// entries are taken until the queue is full, and nothing is written. The destructor refuses what comes later, has all
/// written that was queued before it, and ends the thread. It waits for that for 3 seconds and then reports it. What it
/// does to release a thread that is slower still is the thread layer's: that of this system waits on, since the thread
/// uses this object. A reader that stalls the error stream holds the destructor up as well, since it writes records.
///
/// Ownership  Shared by the host and every `Log`; destroyed on whichever thread lets the last reference go.
/// Threads    addTraceData: any number at once, also while the destructor runs, but not beyond its end.
/// Real time  addTraceData is safe. Construction and destruction are not.
/// Errors     A failed allocation of the queue leaves the constructor as std::bad_alloc. All else is a record.
class COMMON_LOG_EXPORT Handler
{
public:
    Handler();
    Handler(Handler const &) = delete;
    Handler & operator=(Handler const &) = delete;
    virtual ~Handler();

    /// Queues a copy of an entry. A DATA_TRACE entry is stamped first: the caller's own value carries the time of the
    /// push afterwards, although it is passed as a constant.
    ///
    /// @return TRACE_QUEUE_FULL where the entry is lost, which the worker reports later; TRACE_SHUTTING_DOWN during
    ///         destruction, with nothing counted or stamped
    ///
    /// Real time  No allocation, no lock, no wait; one read of the clock and two copies of the entry.
    TraceResult addTraceData(DataOfQueue const & data);

private:
    static TraceResult threadTraceHandler(Handler * handler);

    TraceResult logThread(timespec const & timestamp, unsigned int mainDiagnosisCode, std::string const & componentName,
                          std::string const & snapName, std::string const & unitName, std::string const & fileName,
                          std::string const & functionName, unsigned int line, std::string const & message) const;
    void logDirect(unsigned int mainDiagnosisCode, char const * functionName, unsigned int line, char const * format,
                   ...) const COMMON_LOG_PRINTF_FORMAT(5, 6);

    static constexpr std::size_t kCacheLineBytes = 64;

    TraceResult m_initResult;
    std::unique_ptr<TraceQueue> m_queue;
    // On a line of its own: each push writes it, and only reads the members around it. On one line with them it would
    // make each producer wait for the others already at its first look at the handler.
    alignas(kCacheLineBytes) std::atomic<bool> m_hasNewData;
    alignas(kCacheLineBytes) std::atomic<unsigned long long> m_droppedEntries;
    std::uint64_t m_thread;
    std::atomic<bool> m_isTerminating;
    Clock m_clock;
    SnapName m_snapName;
};

} // namespace common::log::trace
