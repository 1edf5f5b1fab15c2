// The operations of the Manager that read and switch the states of registered units.

#include <common/log/trace/manager.h>

#include "helper/self_trace.h"
#include "helper/string.h"

#include <common/log/trace/log.h>

#include <mutex>

namespace common::log::trace {

namespace {

using Units = std::unordered_map<std::string, Log *>;
using Lock = std::unique_lock<InheritMutex>;

template <typename Action>
void forEach(InheritMutex & mutex, Units const & units, Action const & action)
{
    Lock const lock(mutex);
    for (auto const & [name, unit] : units) {
        action(*unit);
    }
}

} // namespace

TraceResult Manager::enableAllTraceUnits() const
{
    SELF_TRACE_MESSAGE("Enable all trace units.");
    forEach(m_mutex, m_traceUnits, [](Log & unit) { unit.setEnablingState(true); });
    return TRACE_OK;
}

TraceResult Manager::disableAllTraceUnits() const
{
    SELF_TRACE_MESSAGE("Disable all trace units.");
    forEach(m_mutex, m_traceUnits, [](Log & unit) { unit.setEnablingState(false); });
    return TRACE_OK;
}

TraceResult Manager::setEnablingStateAllTraceUnits(EnablingState const & state) const
{
    SELF_TRACE_MESSAGE("Set enabling state for all traces (messages: %s, warnings: %s, errors: %s).",
                       trueOrFalse(state.messages), trueOrFalse(state.warnings), trueOrFalse(state.errors));
    forEach(m_mutex, m_traceUnits, [&state](Log & unit) { unit.setEnablingState(state); });
    return TRACE_OK;
}

void Manager::setDefaultEnablingStateAllTraceUnits()
{
    SELF_TRACE_MESSAGE("Set default enabling state for all trace units.");
    forEach(m_mutex, m_traceUnits, [](Log & unit) { unit.setEnablingState(unit.getDefaultEnablingState()); });
}

EnablingState Manager::getEnablingStateAllTraceUnits() const
{
    EnablingState common{true, true, true};
    forEach(m_mutex, m_traceUnits, [&common](Log const & unit) {
        EnablingState const & state = unit.getEnablingState();
        common.messages = common.messages && state.messages;
        common.warnings = common.warnings && state.warnings;
        common.errors = common.errors && state.errors;
    });
    return common;
}

// The four below stand at length, since each bears its own name in its reports.

TraceResult Manager::enableTraceUnit(std::string const & unitName) const
{
    if (unitName.empty()) {
        SELF_TRACE_ERROR("Invalid argument: unitName");
        return TRACE_INVALID_ARGUMENT;
    }
    SELF_TRACE_MESSAGE("Enable trace unit '%s'.", unitName.c_str());
    Lock const lock(m_mutex);
    auto const found = m_traceUnits.find(unitName);
    if (found == m_traceUnits.end()) {
        SELF_TRACE_ERROR("End of list was reached. Trace unit '%s' was not found.", unitName.c_str());
        return TRACE_NOT_FOUND;
    }
    found->second->setEnablingState(true);
    return TRACE_OK;
}

TraceResult Manager::disableTraceUnit(std::string const & unitName) const
{
    if (unitName.empty()) {
        SELF_TRACE_ERROR("Invalid argument: unitName");
        return TRACE_INVALID_ARGUMENT;
    }
    SELF_TRACE_MESSAGE("Disable trace unit '%s'.", unitName.c_str());
    Lock const lock(m_mutex);
    auto const found = m_traceUnits.find(unitName);
    if (found == m_traceUnits.end()) {
        SELF_TRACE_ERROR("End of list was reached. Trace unit '%s' was not found.", unitName.c_str());
        return TRACE_NOT_FOUND;
    }
    found->second->setEnablingState(false);
    return TRACE_OK;
}

TraceResult Manager::setEnablingStateTraceUnit(std::string const & unitName, EnablingState const & state) const
{
    if (unitName.empty()) {
        SELF_TRACE_ERROR("Invalid argument: unitName");
        return TRACE_INVALID_ARGUMENT;
    }
    SELF_TRACE_MESSAGE("Set enabling state for trace unit '%s' (messages: %s, warnings: %s, errors: %s).",
                       unitName.c_str(), trueOrFalse(state.messages), trueOrFalse(state.warnings),
                       trueOrFalse(state.errors));
    Lock const lock(m_mutex);
    auto const found = m_traceUnits.find(unitName);
    if (found == m_traceUnits.end()) {
        SELF_TRACE_ERROR("End of list was reached. Trace unit '%s' was not found.", unitName.c_str());
        return TRACE_NOT_FOUND;
    }
    found->second->setEnablingState(state);
    return TRACE_OK;
}

TraceResult Manager::getEnablingStateTraceUnit(std::string const & unitName, EnablingState & state) const
{
    if (unitName.empty()) {
        SELF_TRACE_ERROR("Invalid argument: unitName");
        return TRACE_INVALID_ARGUMENT;
    }
    Lock const lock(m_mutex);
    auto const found = m_traceUnits.find(unitName);
    if (found == m_traceUnits.end()) {
        SELF_TRACE_ERROR("End of list was reached. Trace unit '%s' was not found.", unitName.c_str());
        return TRACE_NOT_FOUND;
    }
    state = found->second->getEnablingState();
    return TRACE_OK;
}

TraceResult Manager::getAllTraceUnits(std::string & units) const
{
    SELF_TRACE_MESSAGE("Get list of all registered trace units as string.");
    forEach(m_mutex, m_traceUnits, [&units](Log const & unit) { units.append(unit.getUnitName()).append(";"); });
    return TRACE_OK;
}

TraceResult Manager::getAllTraceUnits(std::unordered_map<std::string, Log *> & units) const
{
    SELF_TRACE_MESSAGE("Get list of all registered trace units as unordered map with unit name and pointer.");
    Lock const lock(m_mutex);
    if (&units != &m_traceUnits) {
        units = m_traceUnits;
    }
    return TRACE_OK;
}

} // namespace common::log::trace
