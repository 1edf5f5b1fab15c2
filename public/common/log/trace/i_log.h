#pragma once

#include <common/log/export.h>
#include <common/log/printf_format.h>
#include <common/log/trace/trace_result.h>

namespace common::log::trace {

/// A trace unit as its callers see it. The order of the virtual operations is part of the interface.
class COMMON_LOG_EXPORT ILog
{
public:
    ILog() = default;
    ILog(ILog const &) = delete;
    ILog & operator=(ILog const &) = delete;
    virtual ~ILog() = default;

    /// Formats and writes one record on the calling thread.
    ///
    /// @param mainDiagnosisCode  its class decides over severity and switch, see main_diagnosis_code.h
    /// @param line               0 means none
    /// @param format             as for printf, followed by its arguments; 255 characters of the result are written
    ///
    /// Any of the texts may be null and then counts as empty.
    virtual TraceResult log(unsigned int mainDiagnosisCode, char const * componentName, char const * snapName,
                            char const * fileName, char const * functionName, unsigned int line, char const * format,
                            ...) COMMON_LOG_PRINTF_FORMAT(8, 9) = 0;
};

} // namespace common::log::trace
