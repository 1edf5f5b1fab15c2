#include <common/log/trace/internal_trace.h>

#include "helper/self_trace.h"
#include "log_buffered.h"

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

} // namespace common::log::trace
