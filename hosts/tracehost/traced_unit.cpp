#include "traced_unit.h"

#include <iostream>

namespace tracehost {

using namespace common::log::trace;

RecordCounts RecordAccount::counts() const
{
    RecordCounts counts;
    counts.messages = m_bySeverity[static_cast<int>(Severity::message)].load(std::memory_order_relaxed);
    counts.warnings = m_bySeverity[static_cast<int>(Severity::warning)].load(std::memory_order_relaxed);
    counts.errors = m_bySeverity[static_cast<int>(Severity::error)].load(std::memory_order_relaxed);
    counts.switchedOff = m_switchedOff.load(std::memory_order_relaxed);
    counts.cut = m_cut.load(std::memory_order_relaxed);
    counts.lost = m_lost.load(std::memory_order_relaxed);
    return counts;
}

TracedUnit::TracedUnit(std::string const & unitName, char const * componentName, EnablingState const & state,
                       RecordAccount & account)
    : m_log(unitName.c_str(), nullptr), m_componentName(componentName), m_account(account)
{
    m_log.setEnablingState(state);
}

bool TracedUnit::isOn(Severity severity) const
{
    EnablingState const & state = m_log.getEnablingState();
    return severity == Severity::error ? state.errors : severity == Severity::warning ? state.warnings : state.messages;
}

void TraceCall::done(TraceResult result)
{
    m_account.m_bySeverity[static_cast<int>(m_severity)].fetch_add(1, std::memory_order_relaxed);
    if (result == TRACE_TRUNCATED) {
        m_account.m_cut.fetch_add(1, std::memory_order_relaxed);
    }
    // What the stream took may still be lost behind it; what it refused certainly is. With the state cleared, the next
    // record is tried again: a full disk or a stalled reader can recover.
    if (result == TRACE_FAILED || !std::cerr.good()) {
        m_account.m_lost.fetch_add(1, std::memory_order_relaxed);
        std::cerr.clear();
    }
}

} // namespace tracehost
