#pragma once

#include "command_line.h"
#include "output.h"
#include "record.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace tracectl {

/// A line for people, without its end: time, severity as a letter, unit and message; one blank between them.
std::string plainLine(Record const & record);

/// Makes the lines of an output, one for each record, without a control character but the line end behind it.
class RecordFormatter
{
public:
    RecordFormatter(RecordFormat format, Output const & output);

    /// What stands ahead of all records: the column names of CSV.
    std::string heading() const;

    /// @param json  what the record was read from
    std::string lineOf(Record const & record, std::string_view json);

    /// For records that are missing here: a line, or nothing where the format has no place for it.
    std::string gapLine(std::uint64_t records, std::string_view what) const;

private:
    std::string alignedLine(Record const & record);

    RecordFormat m_format;
    bool m_isAligned;
    bool m_isColoured;
    std::size_t m_unitWidth = 0;
};

} // namespace tracectl
