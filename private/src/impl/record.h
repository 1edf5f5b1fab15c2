#pragma once

#include "helper/severity.h"

#include <common/log/trace/trace_result.h>

#include <ctime>

namespace common::log::trace {

/// Where a record comes from; a null text counts as empty.
struct RecordOrigin
{
    char const * componentName;
    char const * snapName;
    char const * fileName;
    char const * functionName;
    unsigned int line; ///< 0 gives an empty field
};

/// The title of a record: that of the severity with the unit name behind it.
class RecordTitle
{
public:
    RecordTitle(Severity const & severity, char const * unitName) noexcept;

    char const * text() const noexcept { return m_text; }

private:
    static constexpr unsigned int kSize = 128;

    char m_text[kSize];
};

/// The code and the line of a record as texts.
class RecordNumbers
{
public:
    RecordNumbers(unsigned int mainDiagnosisCode, unsigned int line) noexcept;

    char const * code() const noexcept { return m_code; }
    /// Empty for line 0.
    char const * line() const noexcept { return m_line; }

private:
    static constexpr unsigned int kSize = 12;

    char m_code[kSize];
    char m_line[kSize];
};

/// What every record passes to the sink as its identifier.
constexpr char const * kIdentifier = "velmont_trace";

/// Writes a record on the calling thread, as all units do that do not queue.
///
/// @param result  what the unit has found so far; returned unless the sink fails
TraceResult sendRecord(PriorityType priority, RecordTitle const & title, unsigned int mainDiagnosisCode,
                       timespec timestamp, char const * unitName, RecordOrigin const & origin, char const * format,
                       char * arguments, TraceResult result);

} // namespace common::log::trace
