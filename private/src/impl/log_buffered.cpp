#include "log_buffered.h"

#include "helper/self_trace.h"
#include "helper/severity.h"
#include "helper/string.h"
#include "record.h"

#include <common/log/argument_pointer.h>
#include <common/log/clock.h>
#include <common/log/function_name.h>
#include <common/log/trace/check_and_set_string.h>
#include <common/log/trace/output_hook.h>

#include <cstdarg>

namespace common::log::trace {

namespace {

constexpr char const * kDefaultUnitName = "Buffered trace";
constexpr char const * kOutputPrefix = "ERR";

/// The texts of one call, bounded as those of a queued record are.
struct BufferedTexts
{
    char unitName[64] = "";
    char componentName[128] = "";
    char snapName[64] = "";
    char fileName[64] = "";
    char functionName[64] = "";
    char format[256] = "";
};

} // namespace

LogBuffered::LogBuffered(char const * unitName, bool isEnabled) : m_isEnabled(isEnabled), m_unitName{}
{
    bool const hasName = unitName != nullptr && *unitName != '\0';
    copyTruncated(m_unitName, sizeof m_unitName, hasName ? unitName : kDefaultUnitName);
}

TraceResult LogBuffered::log(unsigned int mainDiagnosisCode, char const * componentName, char const * snapName,
                             char const * fileName, char const * functionName, unsigned int line, char const * format,
                             ...)
{
    if (!m_isEnabled) {
        return TRACE_DISABLED;
    }
    TraceResult result = TRACE_OK;
    Severity const severity = severityOf(mainDiagnosisCode);
    RecordTitle const title(severity, m_unitName);
    if (!severity.isValid()) {
        static constexpr FunctionName thisFunction(COMMON_LOG_FUNCTION_SIGNATURE);
        reportInvalidCode(mainDiagnosisCode, thisFunction.text(), __LINE__);
        mainDiagnosisCode = kErrorCode;
        result = TRACE_INVALID_ARGUMENT;
    }
    std::va_list arguments;
    va_start(arguments, format);
    result =
        sendRecord(severity.priority, title, mainDiagnosisCode, Clock(CLOCK_ID_WALL).getTimestamp(), m_unitName,
                   {componentName, snapName, fileName, functionName, line}, format, argumentPointer(arguments), result);
    va_end(arguments);
    return result;
}

TraceResult LogBuffered::logRealTime(unsigned int mainDiagnosisCode, LogParameters const & parameters, ...)
{
    if (parameters.classType != LogParametersExtended::kClassType) {
        // The type that arrived, where a queueing unit prints the one that it expects.
        static constexpr FunctionName thisFunction(COMMON_LOG_FUNCTION_SIGNATURE);
        outputFunction(kOutputPrefix, __LINE__, thisFunction.text(),
                       "Incorrect class type was sent. Class type: %d. Unit name: %s.",
                       static_cast<int>(parameters.classType), m_unitName);
        return TRACE_INVALID_ARGUMENT;
    }
    std::va_list arguments;
    // The interface ends in a reference, which the standard leaves undefined here and every compiler in use takes.
    va_start(arguments, parameters); // NOLINT(clang-diagnostic-varargs)
    TraceResult const result = logRealTimeVaList(mainDiagnosisCode, parameters, argumentPointer(arguments));
    va_end(arguments);
    return result;
}

TraceResult LogBuffered::logRealTimeVaList(unsigned int mainDiagnosisCode, LogParameters const & parameters,
                                           char * arguments)
{
    static constexpr FunctionName thisFunction(COMMON_LOG_FUNCTION_SIGNATURE);
    if (!m_isEnabled) {
        return TRACE_DISABLED;
    }
    TraceResult result = TRACE_OK;
    Severity const severity = severityOf(mainDiagnosisCode);
    RecordTitle const title(severity, m_unitName);
    if (!severity.isValid()) {
        reportInvalidCode(mainDiagnosisCode, thisFunction.text(), __LINE__);
        mainDiagnosisCode = kErrorCode;
        result = TRACE_INVALID_ARGUMENT;
    }
    BufferedTexts texts;
    checkAndSetString(texts.unitName, m_unitName, sizeof texts.unitName, result);
    if (parameters.classType != LogParametersExtended::kClassType) {
        outputFunction(kOutputPrefix, __LINE__, thisFunction.text(),
                       "Incorrect class type was sent. Class type: %d. Unit name: %s.",
                       static_cast<int>(parameters.classType), m_unitName);
        return TRACE_INVALID_ARGUMENT;
    }
    auto const & extended = static_cast<LogParametersExtended const &>(parameters);
    checkAndSetString(texts.componentName, extended.componentName, sizeof texts.componentName, result);
    checkAndSetString(texts.snapName, extended.snapName, sizeof texts.snapName, result);
    checkAndSetString(texts.fileName, extended.fileName, sizeof texts.fileName, result);
    checkAndSetString(texts.functionName, extended.functionName, sizeof texts.functionName, result);
    // The format itself is bounded here; what becomes of it is bounded once more by the sink.
    checkAndSetString(texts.format, extended.format, sizeof texts.format, result);
    return sendRecord(severity.priority, title, mainDiagnosisCode, Clock(CLOCK_ID_WALL).getTimestamp(), texts.unitName,
                      {texts.componentName, texts.snapName, texts.fileName, texts.functionName, extended.line},
                      texts.format, arguments, result);
}

void LogBuffered::reportInvalidCode(unsigned int mainDiagnosisCode, char const * functionName, int line)
{
    outputFunction(kOutputPrefix, line, functionName,
                   "%s: Invalid main diagnosis code 0x%08X: treat as trace error, using 0x%08X instead.", m_unitName,
                   mainDiagnosisCode, kErrorCode);
    // The whole path on purpose: this one record differs from all others in that.
    (void)log(kErrorCode, "", "", __FILE__, functionName, static_cast<unsigned int>(line),
              "Invalid main diagnosis code 0x%08X: treat as trace error, using 0x%08X instead.", mainDiagnosisCode,
              kErrorCode);
}

} // namespace common::log::trace
