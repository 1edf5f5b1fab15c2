#include "cycle.h"

#include "system.h"

#include <algorithm>
#include <cinttypes>

namespace tracehost {

using common::log::trace::CountedLog;

constexpr char const * kTraceComponent = "cycle";

namespace {

/// The longest sleep at a stretch, so that a stop need not wait for a long period.
constexpr std::chrono::milliseconds kLongestSleep(100);

constexpr std::chrono::seconds kSummaryInterval(1);

} // namespace

Cycle::Cycle(Settings const & settings, CountedLog & wakeup, CountedLog & summary)
    : m_settings(settings), m_wakeup(wakeup), m_summary(summary)
{
    m_thread.start([this] {
        m_begin.get_future().wait();
        run();
    });
}

Cycle::~Cycle()
{
    stop();
    begin();
}

void Cycle::begin()
{
    if (!m_hasBegun) {
        m_hasBegun = true;
        m_begin.set_value();
    }
}

void Cycle::run()
{
    Nanoseconds const start = monotonicTime();
    Nanoseconds deadline = start + m_settings.period;
    Nanoseconds nextSummary = start + kSummaryInterval;
    while (sleepUntil(deadline)) {
        Nanoseconds const lateness = monotonicTime() - deadline;
        auto const missed = static_cast<std::uint64_t>(lateness / m_settings.period);
        m_second.add(lateness);
        m_total.add(lateness);
        m_totalMissed += missed;
        traceLateness(lateness, missed);
        if (deadline >= nextSummary) {
            traceSummary();
            m_second.clear();
            // Without the seconds of a long period or of a stalled stream, which would all be due now.
            nextSummary += (deadline - nextSummary) / kSummaryInterval * kSummaryInterval + kSummaryInterval;
        }
        deadline += m_settings.period * (static_cast<std::int64_t>(missed) + 1);
    }
}

bool Cycle::sleepUntil(Nanoseconds deadline) const
{
    while (!m_isStopping.load(std::memory_order_relaxed)) {
        Nanoseconds const start = monotonicTime();
        if (start >= deadline) {
            return true;
        }
        Nanoseconds const wake = std::min<Nanoseconds>(deadline, start + kLongestSleep);
        sleepUntilMonotonicTime(wake);
    }
    return false;
}

void Cycle::traceLateness(Nanoseconds lateness, std::uint64_t missed)
{
    if (missed > 0) {
        COMMON_LOG_ERROR_REAL_TIME(m_wakeup, "Woke %.1f us late, missed cycles: %" PRIu64, microseconds(lateness),
                                   missed);
    } else if (lateness > m_settings.errorAbove) {
        COMMON_LOG_ERROR_REAL_TIME(m_wakeup, "Woke %.1f us late, limit %.1f us", microseconds(lateness),
                                   microseconds(m_settings.errorAbove));
    } else if (lateness > m_settings.warnAbove) {
        COMMON_LOG_WARNING_REAL_TIME(m_wakeup, "Woke %.1f us late, limit %.1f us", microseconds(lateness),
                                     microseconds(m_settings.warnAbove));
    }
}

void Cycle::traceSummary()
{
    COMMON_LOG_MESSAGE_REAL_TIME(
        m_summary, "cycles %" PRIu64 ", p50 %.1f us, p99 %.1f us, p99.9 %.1f us, worst %.1f us", m_second.count(),
        microseconds(m_second.percentile(500)), microseconds(m_second.percentile(990)),
        microseconds(m_second.percentile(999)), microseconds(m_second.worst()));
}

} // namespace tracehost
