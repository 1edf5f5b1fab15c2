#pragma once

#include <common/log/printf_format.h>
#include <common/log/trace/i_log_real_time.h>

namespace common::log::trace {

/// The trace unit of the library itself, which needs neither a handler nor a manager.
///
/// It keeps nothing back across calls: all three operations write on the calling thread. What it buffers are the texts
/// of one call. It filters no severity, only everything or nothing.
///
/// Threads    Read-only after construction: any number at once.
/// Real time  Not safe: it formats and waits for the stream.
class LogBuffered : public ILogRealTime
{
public:
    /// @param unitName  null or empty gives "Buffered trace"; cut to 63 characters without a report
    LogBuffered(char const * unitName, bool isEnabled);

    TraceResult log(unsigned int mainDiagnosisCode, char const * componentName, char const * snapName,
                    char const * fileName, char const * functionName, unsigned int line, char const * format,
                    ...) override COMMON_LOG_PRINTF_FORMAT(8, 9);
    TraceResult logRealTime(unsigned int mainDiagnosisCode, LogParameters const & parameters, ...) override;
    TraceResult logRealTimeVaList(unsigned int mainDiagnosisCode, LogParameters const & parameters,
                                  char * arguments) override;

private:
    static constexpr unsigned short kUnitNameSize = 64;

    void reportInvalidCode(unsigned int mainDiagnosisCode, char const * functionName, int line);

    bool m_isEnabled;
    char m_unitName[kUnitNameSize];
};

} // namespace common::log::trace
