#include "record.h"

#include "helper/string.h"

#include <common/log/send_log.h>
#include <common/log/trace/map_results.h>

#include <charconv>
#include <cstddef>
#include <cstdint>

namespace common::log::trace {

// Without snprintf, which would read a format for each of these in every record.

RecordTitle::RecordTitle(Severity const & severity, char const * unitName) noexcept
{
    std::size_t const start = copyTruncated(m_text, sizeof m_text, severity.titleStart);
    copyTruncated(m_text + start, sizeof m_text - start, unitName);
}

RecordNumbers::RecordNumbers(unsigned int mainDiagnosisCode, unsigned int line) noexcept
{
    char * position = m_code;
    for (int shift = 28; shift >= 0; shift -= 4) {
        *position++ = "0123456789ABCDEF"[(mainDiagnosisCode >> shift) & 0xFU];
    }
    *position = '\0';
    position = m_line;
    if (line != 0) {
        // Signed on purpose: a line with its top bit set reads as a negative number.
        position = std::to_chars(m_line, m_line + sizeof m_line - 1, static_cast<std::int32_t>(line)).ptr;
    }
    *position = '\0';
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
