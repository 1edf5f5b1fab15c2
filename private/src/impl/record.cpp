#include "record.h"

#include "helper/string.h"

#include <common/log/send_log.h>
#include <common/log/trace/map_results.h>

#include <cstdio>

namespace common::log::trace {

RecordTitle::RecordTitle(Severity const & severity, char const * unitName) noexcept
{
    (void)std::snprintf(m_text, sizeof m_text, "%s%s", severity.titleStart, unitName);
}

RecordNumbers::RecordNumbers(unsigned int mainDiagnosisCode, unsigned int line) noexcept : m_line("")
{
    (void)std::snprintf(m_code, sizeof m_code, "%08X", mainDiagnosisCode);
    if (line != 0) {
        // Signed on purpose: a line with its top bit set reads as a negative number.
        (void)std::snprintf(m_line, sizeof m_line, "%d", static_cast<int>(line));
    }
}

TraceResult sendRecord(PriorityType priority, RecordTitle const & title, unsigned int mainDiagnosisCode,
                       timespec timestamp, char const * unitName, RecordOrigin const & origin, char const * format,
                       char * arguments, TraceResult result)
{
    RecordNumbers const numbers(mainDiagnosisCode, origin.line);
    CommonResult const sent = sendLog(kIdentifier, priority, timestamp, "", numbers.code(), title.text(), "", "",
                                      emptyForNull(origin.componentName), emptyForNull(origin.snapName), unitName,
                                      emptyForNull(origin.fileName), emptyForNull(origin.functionName), numbers.line(),
                                      emptyForNull(format), arguments);
    return isFailure(sent) ? mapCommonResultToTraceResult(sent) : result;
}

} // namespace common::log::trace
