#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace common::log::host {

enum class RecordSeverity
{
    message,
    warning,
    error
};

/// "message", "warning" or "error".
char const * nameOf(RecordSeverity severity);

/// The fields of one record, as parts of the text it was read from.
struct RecordText
{
    std::string_view time;
    std::string_view code;
    RecordSeverity severity = RecordSeverity::message;
    std::string_view title;
    std::string_view component;
    std::string_view snap;
    std::string_view unit;
    std::string_view file;
    std::string_view function;
    std::string_view line;
    std::string_view message; ///< all that stands behind the last separator, line ends included
};

/// Takes a record apart. Fields may hold the separator, since nothing is escaped: severity and unit stand in the title,
/// and where the unit's name comes again is where the fields ahead of it end.
///
/// @param record  with or without the line end in front; bytes of any kind
/// @return nothing for what is no record of this system
std::optional<RecordText> parseRecord(std::string_view record);

/// A text for one line of a terminal: every control character (C0, DEL, C1) as an escape such as \n or \x1b, and so what
/// parts lines or turns the direction of the text (\u2028 to \u202e, \u2066 to \u2069); a backslash as it is, what is
/// not UTF-8 as U+FFFD.
std::string printable(std::string_view text);

/// One JSON object on one line, without a line end: {"number":N,"time":...}, see docs/door.md. A text that is no record
/// gives {"number":N,"text":...}. What is not UTF-8 is replaced by U+FFFD.
std::string recordJson(std::uint64_t number, std::string_view record);

} // namespace common::log::host
