#include <common/log/trace/log.h>

#include "helper/format.h"
#include "helper/self_trace.h"
#include "helper/severity.h"

#include <common/log/argument_pointer.h>
#include <common/log/trace/check_and_set_string.h>
#include <common/log/trace/handler.h>

#include <cstdarg>
#include <cstddef>
#include <cstring>

// Threads with a deadline run what stands here: nothing of it allocates, locks or waits, but for the reports of what
// went wrong, which cost what the library's own unit costs.

namespace common::log::trace {

namespace {

/// The class type that is expected, which is what the reports print in place of the one that arrived.
constexpr int kPrintedClassType = static_cast<int>(LogParametersExtended::kClassType);

/// `checkAndSetString` for a destination that is all zeros, which nearly every text fits into.
template <std::size_t kSize>
void setText(char (&destination)[kSize], char const * source, TraceResult & result)
{
    if (source == nullptr) {
        return;
    }
    std::size_t const length = std::strlen(source);
    if (length < kSize) {
        std::memcpy(destination, source, length);
    } else {
        checkAndSetString(destination, source, kSize, result);
    }
}

} // namespace

TraceResult Log::logRealTime(unsigned int mainDiagnosisCode, LogParameters const & parameters, ...)
{
    if (parameters.classType != LogParametersExtended::kClassType) {
        SELF_TRACE_ERROR("Incorrect class type was sent. Class type: %d. Unit name: %s.", kPrintedClassType,
                         m_unitName);
        return TRACE_INVALID_ARGUMENT;
    }
    std::va_list arguments;
    // The interface ends in a reference, which the standard leaves undefined here and every compiler in use takes.
    va_start(arguments, parameters); // NOLINT(clang-diagnostic-varargs)
    TraceResult const result = logRealTimeVaList(mainDiagnosisCode, parameters, argumentPointer(arguments));
    va_end(arguments);
    return result;
}

TraceResult Log::logRealTimeVaList(unsigned int mainDiagnosisCode, LogParameters const & parameters, char * arguments)
{
    TraceResult result = TRACE_OK;
    Severity const severity = severityOf(mainDiagnosisCode);
    if (!severity.isValid()) {
        result = TRACE_INVALID_ARGUMENT; // the worker reports it and makes the record an error
    } else if (!(m_enablingState.*severity.flag)) {
        return TRACE_DISABLED;
    }
    return logRealTimeVaList(mainDiagnosisCode, parameters, arguments, result);
}

TraceResult Log::logRealTimeVaList(unsigned int mainDiagnosisCode, LogParameters const & parameters, char * arguments,
                                   TraceResult result)
{
    DataOfQueue entry;
    entry.dataType = DATA_TRACE;
    TraceData & record = entry.traceData;
    record.mainDiagnosisCode = mainDiagnosisCode;
    static_assert(sizeof record.unitName == sizeof m_unitName);
    std::memcpy(record.unitName, m_unitName, sizeof record.unitName); // has an end, and zeros behind it
    if (parameters.classType != LogParametersExtended::kClassType) {
        SELF_TRACE_ERROR("Incorrect class type was sent. Class type: %d. Unit name: %s.", kPrintedClassType,
                         m_unitName);
        return TRACE_INVALID_ARGUMENT;
    }
    auto const & extended = static_cast<LogParametersExtended const &>(parameters);
    setText(record.componentName, extended.componentName, result);
    setText(record.snapName, extended.snapName, result);
    setText(record.fileName, extended.fileName, result);
    setText(record.functionName, extended.functionName, result);
    record.line = extended.line;

    if (extended.format != nullptr && *extended.format != '\0') {
        // Straight into the record, which has exactly the room that the text may take.
        int const length = formatArguments(record.message, sizeof record.message, extended.format, arguments);
        if (length < 0) {
            SELF_TRACE_ERROR("Calling 'vsnprintf' failed. Output string could not be built.");
            return TRACE_FAILED;
        }
        if (length >= static_cast<int>(sizeof record.message)) {
            SELF_TRACE_ERROR("Message size of output string exceeded. String is truncated after %d characters "
                             "(or before, depending on implementation).",
                             static_cast<int>(sizeof record.message) - 1);
            result = TRACE_TRUNCATED;
        }
    }
    TraceResult const queued = m_handler->addTraceData(entry);
    return isFailure(queued) ? queued : result;
}

} // namespace common::log::trace
