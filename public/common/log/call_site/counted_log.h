#pragma once

#include <common/log/trace/log.h>
#include <common/log/trace/main_diagnosis_code.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace common::log::trace {

/// Calls by what became of them where they were made. A call is switched off or counts for its severity; of these
/// `refused` left no record and `cut` one with a shortened text. What a limit held back is not among them.
struct CallCounts
{
    std::uint64_t messages = 0;
    std::uint64_t warnings = 0;
    std::uint64_t errors = 0;
    std::uint64_t switchedOff = 0;
    std::uint64_t cut = 0;
    std::uint64_t refused = 0; ///< TRACE_QUEUE_FULL, TRACE_SHUTTING_DOWN, and TRACE_FAILED for a text
};

/// Counts the calls of one unit, or of several together.
///
/// Threads    Any number at once. While some count, the counts of `counts` need not stem from the same instant.
/// Real time  Counting is safe.
class CallAccount
{
public:
    void count(DiagnosisClass severity, TraceResult result) noexcept
    {
        if (result == TRACE_DISABLED) {
            add(m_switchedOff);
            return;
        }
        add(severity == CLASS_ERROR ? m_errors : severity == CLASS_WARNING ? m_warnings : m_messages);
        if (isFailure(result)) {
            add(result == TRACE_TRUNCATED ? m_cut : m_refused);
        }
    }

    CallCounts counts() const noexcept
    {
        CallCounts counts;
        counts.messages = m_messages.load(std::memory_order_relaxed);
        counts.warnings = m_warnings.load(std::memory_order_relaxed);
        counts.errors = m_errors.load(std::memory_order_relaxed);
        counts.switchedOff = m_switchedOff.load(std::memory_order_relaxed);
        counts.cut = m_cut.load(std::memory_order_relaxed);
        counts.refused = m_refused.load(std::memory_order_relaxed);
        return counts;
    }

private:
    using Counter = std::atomic<std::uint64_t>;

    static void add(Counter & counter) noexcept { counter.fetch_add(1, std::memory_order_relaxed); }

    Counter m_messages{0};
    Counter m_warnings{0};
    Counter m_errors{0};
    Counter m_switchedOff{0};
    Counter m_cut{0};
    Counter m_refused{0};
};

/// A unit whose call sites are counted. Calls that go past the macros of call_site.h are not.
///
/// Ownership  The account is the host's and outlives the unit.
/// Real time  As Log; a call that is switched off costs an atomic addition more.
class CountedLog : public Log
{
public:
    CountedLog(char const * unitName, std::shared_ptr<Handler> const & handler, CallAccount & account)
        : Log(unitName, handler), m_account(account)
    {}

    CallAccount & account() noexcept { return m_account; }

    /// What the macros call, see call_site.h.
    friend void callSiteResult(CountedLog & unit, DiagnosisClass severity, TraceResult result) noexcept
    {
        unit.m_account.count(severity, result);
    }

private:
    CallAccount & m_account;
};

} // namespace common::log::trace
