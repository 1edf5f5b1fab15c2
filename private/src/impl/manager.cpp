#include <common/log/trace/manager.h>

#include "helper/self_trace.h"
#include "helper/string.h"
#include "saved_state_names.h"
#include "unit_names.h"

#include <common/log/trace/log.h>

#include <mutex>

namespace common::log::trace {

namespace {

using Lock = std::unique_lock<InheritMutex>;

} // namespace

Manager::Manager() : m_persistenceHelper(nullptr), m_machineIdentification(kDefaultMachineIdentification)
{
    {
        Lock const lock(m_mutex);
        m_traceUnits.clear();
    }
    m_persistenceFile =
        std::string(kSavedStatesFolder) + "/" + kSavedStatesName + "_" + m_snapName.getSnapName() + ".json";
    // A target that can tell its machines apart asks for the identification here.
    m_machineIdentification = kMachineIdentification;
    SELF_TRACE_MESSAGE("Use '%s' as machine identification", m_machineIdentification.c_str());
}

Manager::~Manager()
{
    Lock const lock(m_mutex);
    for (auto const & [name, unit] : m_traceUnits) {
        ancestor_filter::discountAncestorsOf(name);
    }
    m_traceUnits.clear();
}

TraceResult Manager::addTraceUnit(Log * unit, EnablingState const & state)
{
    if (unit == nullptr) {
        SELF_TRACE_ERROR("Invalid argument: unit");
        return TRACE_INVALID_ARGUMENT;
    }
    SELF_TRACE_MESSAGE("Add trace unit '%s'.", unit->getUnitName());
    EnablingState const given = state; // may be a field that the unit's callback overwrites meanwhile
    std::string const name = unit->getUnitName();
    {
        Lock const lock(m_mutex);
        if (m_traceUnits.count(name) != 0) {
            SELF_TRACE_ERROR("Trace unit %s was already registered.", name.c_str());
            return TRACE_ALREADY_REGISTERED;
        }
        TraceResult const result = checkNameTraceUnit(name, m_traceUnits);
        if (isFailure(result)) {
            return result;
        }
        m_traceUnits.emplace(name, unit);
        ancestor_filter::countAncestorsOf(name);
    }
    try {
        addTraceUnit(name, *unit, given);
    } catch (...) {
        // The caller learns that the registration failed, and is free to destroy the unit.
        Lock const lock(m_mutex);
        auto const registered = m_traceUnits.find(name);
        if (registered != m_traceUnits.end() && registered->second == unit) {
            m_traceUnits.erase(registered);
            ancestor_filter::discountAncestorsOf(name);
        }
        throw;
    }
    return TRACE_OK;
}

void Manager::addTraceUnit(std::string const & name, Log & unit, EnablingState const & state) const
{
    // No full stop at the end of this one, other than below: whoever filters the records knows both by heart.
    SELF_TRACE_MESSAGE("Set default enabling state for trace unit '%s' (messages: %s, warnings: %s, errors: %s)",
                       name.c_str(), trueOrFalse(state.messages), trueOrFalse(state.warnings),
                       trueOrFalse(state.errors));
    unit.setDefaultEnablingState(state);
    TraceResult const result = loadEnablingStateTraceUnit(name);
    if (!isFailure(result)) {
        return;
    }
    if (result != TRACE_NOT_FOUND) {
        SELF_TRACE_ERROR("Calling 'loadEnablingStateTraceUnit' failed with error code 0x%08X.",
                         static_cast<unsigned int>(result));
    }
    SELF_TRACE_MESSAGE("Set given enabling state at registration for trace unit '%s' (messages: %s, warnings: %s, "
                       "errors: %s).",
                       name.c_str(), trueOrFalse(state.messages), trueOrFalse(state.warnings),
                       trueOrFalse(state.errors));
    unit.setEnablingState(state);
}

TraceResult Manager::checkNameTraceUnit(std::string const & name,
                                        std::unordered_map<std::string, Log *> const & traceUnits) const
{
    for (std::string ancestor = name; cutToAncestor(ancestor);) {
        if (traceUnits.count(ancestor) != 0) {
            SELF_TRACE_ERROR("Trace unit name %s is invalid because trace unit %s was already registered.",
                             name.c_str(), ancestor.c_str());
            return TRACE_INVALID_UNIT_NAME;
        }
    }
    if (!ancestor_filter::mayBeAncestor(name)) {
        return TRACE_OK;
    }
    for (auto const & [registeredName, unit] : traceUnits) {
        if (isAncestor(name, registeredName)) {
            SELF_TRACE_ERROR("Trace unit name %s is invalid because trace unit %s was already registered.",
                             name.c_str(), registeredName.c_str());
            return TRACE_INVALID_UNIT_NAME;
        }
    }
    return TRACE_OK;
}

TraceResult Manager::removeTraceUnit(Log const * unit)
{
    if (unit == nullptr) {
        SELF_TRACE_ERROR("Invalid argument: unit");
        return TRACE_INVALID_ARGUMENT;
    }
    SELF_TRACE_MESSAGE("Remove trace unit '%s'.", unit->getUnitName());
    Lock const lock(m_mutex);
    if (m_traceUnits.erase(unit->getUnitName()) == 0) {
        SELF_TRACE_ERROR("End of list was reached. Trace unit '%s' was not found.", unit->getUnitName());
        return TRACE_NOT_FOUND;
    }
    ancestor_filter::discountAncestorsOf(unit->getUnitName());
    return TRACE_OK;
}

} // namespace common::log::trace
