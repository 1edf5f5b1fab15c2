#include "traced_unit.h"

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
    counts.refused = m_refused.load(std::memory_order_relaxed);
    return counts;
}

void RecordAccount::count(Severity severity, TraceResult result)
{
    m_bySeverity[static_cast<int>(severity)].fetch_add(1, std::memory_order_relaxed);
    if (result == TRACE_TRUNCATED) {
        m_cut.fetch_add(1, std::memory_order_relaxed);
    } else if (isFailure(result)) {
        m_refused.fetch_add(1, std::memory_order_relaxed);
    }
}

TracedUnit::TracedUnit(std::string const & unitName, char const * componentName, EnablingState const & state,
                       std::shared_ptr<Handler> const & handler, RecordAccount & account)
    : m_log(unitName.c_str(), handler), m_componentName(componentName), m_account(account)
{
    m_log.setEnablingState(state);
}

bool TracedUnit::isOn(Severity severity) const
{
    EnablingState const & state = m_log.getEnablingState();
    return severity == Severity::error ? state.errors : severity == Severity::warning ? state.warnings : state.messages;
}

} // namespace tracehost
