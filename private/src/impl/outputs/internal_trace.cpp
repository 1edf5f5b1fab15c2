#include <common/log/trace/internal_trace.h>

#include "helper/self_trace.h"
#include "log_buffered.h"

#include <common/log/trace/log.h>
#include <common/log/trace/manager.h>

#include <cstdint>

namespace common::log::trace {

InternalTrace * g_internalTrace = nullptr;

void setInternalTracePointer(InternalTrace * internalTrace) { g_internalTrace = internalTrace; }

void removeInternalTracePointer() { g_internalTrace = nullptr; }

InternalTrace::InternalTrace() : m_activeUnit(nullptr), m_enablingState{false, false, true}, m_bufferedUnit(nullptr)
{
    m_bufferedUnit = new LogBuffered(kUnitName, true);
    m_activeUnit = m_bufferedUnit;
    setInternalTracePointer(this);
}

InternalTrace::~InternalTrace()
{
    removeInternalTracePointer();
    delete m_bufferedUnit;
    m_bufferedUnit = nullptr;
}

void InternalTrace::addTraceUnit(std::shared_ptr<Manager> const & manager, std::shared_ptr<Handler> const & handler)
{
    auto unit = std::make_unique<Log>(kUnitName, handler);
    unit->setCallbackEnablingState([flags = &m_enablingState](EnablingState const & state) { *flags = state; });
    TraceResult const result = manager->addTraceUnit(unit.get(), m_enablingState);
    if (isFailure(result)) {
        SELF_TRACE_ERROR("Calling 'addUnit' failed with error code 0x%08X.", static_cast<unsigned int>(result));
        (void)manager->removeTraceUnit(unit.get()); // by name: a unit added before is taken out with it
        return;
    }
    m_activeUnit = unit.release();
    // The low half of the pointer tells units of one run apart, and the record keeps its form on every platform.
    SELF_TRACE_MESSAGE("Added trace unit with name %s and pointer 0x%08X.", kUnitName,
                       static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(m_activeUnit)));
}

void InternalTrace::removeTraceUnit(std::shared_ptr<Manager> const & manager)
{
    if (manager == nullptr) {
        SELF_TRACE_ERROR("Invalid argument: traceManager; could not remove trace unit.");
        return;
    }
    if (m_activeUnit == m_bufferedUnit) {
        return;
    }
    std::unique_ptr<Log> const unit(static_cast<Log *>(m_activeUnit)); // nothing else than addTraceUnit sets another
    TraceResult const result = manager->removeTraceUnit(unit.get());
    if (isFailure(result)) {
        SELF_TRACE_ERROR("Calling 'removeUnit' failed with error code 0x%08X.", static_cast<unsigned int>(result));
    }
    // Ahead of the unit's end: with it the last share of a handler can go, which reports what it has left to say.
    m_activeUnit = m_bufferedUnit;
}

} // namespace common::log::trace
