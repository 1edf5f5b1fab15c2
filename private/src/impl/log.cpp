#include <common/log/trace/log.h>

#include "helper/self_trace.h"
#include "helper/severity.h"
#include "helper/string.h"
#include "record.h"

#include <common/log/argument_pointer.h>

#include <cstdarg>

namespace common::log::trace {

Log::Log(char const * unitName, std::shared_ptr<Handler> const & handler)
    : m_unitName{}, m_handler(handler), m_clock(CLOCK_ID_WALL)
{
    copyTruncated(m_unitName, sizeof m_unitName, unitName);
}

Log::~Log() = default;

TraceResult Log::log(unsigned int mainDiagnosisCode, char const * componentName, char const * snapName,
                     char const * fileName, char const * functionName, unsigned int line, char const * format, ...)
{
    TraceResult result = TRACE_OK;
    Severity const severity = severityOf(mainDiagnosisCode);
    if (severity.isValid() && !(m_enablingState.*severity.flag)) {
        return TRACE_DISABLED;
    }
    RecordTitle const title(severity, m_unitName);
    if (!severity.isValid()) {
        SELF_TRACE_ERROR("%s: Invalid main diagnosis code 0x%08X: treat as trace error, using 0x%08X instead.",
                         m_unitName, mainDiagnosisCode, kErrorCode);
        result = TRACE_INVALID_ARGUMENT;
        mainDiagnosisCode = kErrorCode;
    }
    std::va_list arguments;
    va_start(arguments, format);
    result =
        sendRecord(severity.priority, title, mainDiagnosisCode, m_clock.getTimestamp(), m_unitName,
                   {componentName, snapName, fileName, functionName, line}, format, argumentPointer(arguments), result);
    va_end(arguments);
    return result;
}

EnablingState const & Log::getDefaultEnablingState() const { return m_defaultEnablingState; }

char const * Log::getUnitName() const { return m_unitName; }

void Log::setEnablingState(EnablingState const & state)
{
    m_enablingState = state;
    if (m_callbackEnablingState) {
        m_callbackEnablingState(m_enablingState);
    }
}

void Log::setEnablingState(bool isEnabled) { setEnablingState(EnablingState{isEnabled, isEnabled, isEnabled}); }

void Log::setDefaultEnablingState(EnablingState const & state) { m_defaultEnablingState = state; }

void Log::setCallbackEnablingState(std::function<void(EnablingState const &)> const & callback)
{
    m_callbackEnablingState = callback;
}

} // namespace common::log::trace
