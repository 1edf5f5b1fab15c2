#pragma once

#include <string>
#include <vector>

namespace common::log::test {

/// One record of the stream, split into its thirteen fields.
struct Record
{
    std::string timestamp;
    std::string reserved1;
    std::string code;
    std::string title;
    std::string reserved2;
    std::string reserved3;
    std::string componentName;
    std::string snapName;
    std::string unitName;
    std::string fileName;
    std::string functionName;
    std::string line;
    std::string message; ///< all that stands behind the twelfth separator
};

/// Splits a stream, in which the line ends stand ahead of the records, into lines.
///
/// @throws std::invalid_argument where the stream neither is empty nor begins with a line end
std::vector<std::string> splitLines(std::string const & stream);

/// @throws std::invalid_argument for a line with less than thirteen fields, with the line in its text
Record parseRecord(std::string const & line);

/// All lines of a stream as records.
std::vector<Record> parseRecords(std::string const & stream);

} // namespace common::log::test
