#pragma once

#include "host_thread.h"
#include "lateness_histogram.h"

#include <common/log/trace.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <future>
#include <string>

namespace tracehost {

/// The cyclic task: sleeps to absolute deadlines, measures how late it really wakes, and traces what is too late at
/// once and a summary each second.
///
/// A deadline that had passed before the task could sleep to it is a missed cycle: it is counted and skipped.
///
/// Threads    One of its own. All members are for the owner's thread.
/// Real time  Between two cycles nothing is allocated, and the trace calls take the real-time road: whatever the reader
///            of the stream does, a cycle does not wait for it. Its lateness includes what tracing costs.
class Cycle
{
public:
    struct Settings
    {
        std::chrono::nanoseconds period;
        std::chrono::nanoseconds warnAbove;
        std::chrono::nanoseconds errorAbove;
    };

    /// Starts the thread, which waits for `begin`, so that it can be given its priority before the first cycle.
    Cycle(Settings const & settings, common::log::trace::CountedLog & wakeup, common::log::trace::CountedLog & summary);
    ~Cycle();

    void begin();
    void stop() { m_isStopping = true; }
    HostThread & thread() { return m_thread; }

    /// Of the whole run. Only after the thread has ended.
    LatenessHistogram const & lateness() const { return m_total; }
    std::uint64_t missed() const { return m_totalMissed; }

private:
    using Nanoseconds = std::chrono::nanoseconds;

    void run();
    /// False where the task is to stop.
    bool sleepUntil(Nanoseconds deadline) const;
    void traceLateness(Nanoseconds lateness, std::uint64_t missed);
    void traceSummary();

    Settings m_settings;
    common::log::trace::CountedLog & m_wakeup;
    common::log::trace::CountedLog & m_summary;
    LatenessHistogram m_second;
    LatenessHistogram m_total;
    std::uint64_t m_totalMissed = 0;
    std::atomic<bool> m_isStopping{false};
    std::promise<void> m_begin;
    bool m_hasBegun = false;
    HostThread m_thread; // the last: it uses all the others
};

/// As the records and the summary print it: microseconds with one decimal.
inline double microseconds(std::chrono::nanoseconds duration) { return static_cast<double>(duration.count()) / 1000.0; }

} // namespace tracehost
