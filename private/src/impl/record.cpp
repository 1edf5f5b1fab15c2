#include "record.h"

#include "helper/string.h"

#include <common/log/send_log.h>
#include <common/log/trace/map_results.h>

#include <cstdio>

namespace common::log::trace {

namespace {

constexpr char const * kIdentifier = "velmont_trace";

/// The code and the line of a record as texts.
constexpr unsigned int kNumberSize = 12;

} // namespace

RecordTitle::RecordTitle(Severity const & severity, char const * unitName) noexcept
{
    (void)std::snprintf(m_text, sizeof m_text, "%s%s", severity.titleStart, unitName);
}

TraceResult sendRecord(PriorityType priority, RecordTitle const & title, unsigned int mainDiagnosisCode,
                       timespec timestamp, char const * unitName, RecordOrigin const & origin, char const * format,
                       char * arguments, TraceResult result)
{
    char codeText[kNumberSize];
    (void)std::snprintf(codeText, sizeof codeText, "%08X", mainDiagnosisCode);
    char lineText[kNumberSize] = "";
    if (origin.line != 0) {
        // Signed on purpose: a line with its top bit set reads as a negative number.
        (void)std::snprintf(lineText, sizeof lineText, "%d", static_cast<int>(origin.line));
    }
    CommonResult const sent = sendLog(kIdentifier, priority, timestamp, "", codeText, title.text(), "", "",
                                      emptyForNull(origin.componentName), emptyForNull(origin.snapName), unitName,
                                      emptyForNull(origin.fileName), emptyForNull(origin.functionName), lineText,
                                      emptyForNull(format), arguments);
    return isFailure(sent) ? mapCommonResultToTraceResult(sent) : result;
}

} // namespace common::log::trace
