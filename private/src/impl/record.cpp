#include "record.h"

#include "helper/string.h"

#include <common/log/send_log.h>
#include <common/log/trace/map_results.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace common::log::trace {

namespace {

/// The two digits of each byte, so that a code is four copies.
constexpr auto kHexPairs = [] {
    std::array<char, std::size_t{2} * 256> pairs{};
    for (std::size_t byte = 0; byte != 256; ++byte) {
        pairs[2 * byte] = "0123456789ABCDEF"[byte / 16];
        pairs[2 * byte + 1] = "0123456789ABCDEF"[byte % 16];
    }
    return pairs;
}();

void putHexPair(char * text, unsigned int byte) noexcept { std::memcpy(text, &kHexPairs[std::size_t{2} * byte], 2); }

} // namespace

// Without snprintf, which would read a format for each of these in every record.

RecordTitle::RecordTitle(Severity const & severity, char const * unitName) noexcept
{
    std::size_t const start = severity.titleStart.copy(m_text, sizeof m_text);
    copyTruncated(m_text + start, sizeof m_text - start, unitName);
}

RecordNumbers::RecordNumbers(unsigned int mainDiagnosisCode, unsigned int line) noexcept
{
    putHexPair(m_code, mainDiagnosisCode >> 24U);
    putHexPair(m_code + 2, mainDiagnosisCode >> 16U & 0xFFU);
    putHexPair(m_code + 4, mainDiagnosisCode >> 8U & 0xFFU);
    putHexPair(m_code + 6, mainDiagnosisCode & 0xFFU);
    m_code[8] = '\0';
    char * position = m_line;
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
