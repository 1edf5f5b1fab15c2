#include "record_format.h"

#include "json_text.h"

#include <algorithm>
#include <initializer_list>

namespace tracectl {

using common::log::host::nameOf;
using common::log::host::printable;
using common::log::host::RecordSeverity;

namespace {

constexpr std::size_t kWidestUnit = 32; ///< above that, a long name moves its own line alone

constexpr char const * kReset = "\x1b[0m";
constexpr char const * kFaint = "\x1b[2m";

char const * colourOf(RecordSeverity severity)
{
    return severity == RecordSeverity::error ? "\x1b[1;31m" : severity == RecordSeverity::warning ? "\x1b[33m" : "";
}

char letterOf(RecordSeverity severity) { return *nameOf(severity); }

/// A field by RFC 4180, its control characters as escapes.
std::string csvField(std::string_view text)
{
    std::string field = printable(text);
    if (field.find_first_of(",\"") == std::string::npos) {
        return field;
    }
    for (auto quote = field.find('"'); quote != std::string::npos; quote = field.find('"', quote + 2)) {
        field.insert(quote, 1, '"');
    }
    return '"' + field + '"';
}

std::string csvLine(Record const & record)
{
    std::string line = std::to_string(record.number);
    for (std::string_view const field :
         {std::string_view(record.time), std::string_view(record.isRecord ? nameOf(record.severity) : ""),
          std::string_view(record.code), std::string_view(record.title), std::string_view(record.component),
          std::string_view(record.snap), std::string_view(record.unit), std::string_view(record.file),
          std::string_view(record.function), std::string_view(record.line), std::string_view(record.message)}) {
        line += "," + csvField(field);
    }
    return line + "\r\n";
}

/// The thirteen fields of the stream.
std::string streamLine(Record const & record)
{
    if (!record.isRecord) {
        return printable(record.message) + "\n";
    }
    return printable(record.time + "||" + record.code + "|" + record.title + "|||" + record.component + "|" +
                     record.snap + "|" + record.unit + "|" + record.file + "|" + record.function + "|" + record.line +
                     "|" + record.message) +
           "\n";
}

} // namespace

std::string plainLine(Record const & record)
{
    if (!record.isRecord) {
        return printable(record.message);
    }
    return printable(record.time) + " " + letterOf(record.severity) + " " + printable(record.unit) + " " +
           printable(record.message);
}

RecordFormatter::RecordFormatter(RecordFormat format, Output const & output)
    : m_format(format), m_isAligned(output.isTerminal()), m_isColoured(output.isColoured())
{}

std::string RecordFormatter::heading() const
{
    return m_format == RecordFormat::csv
               ? "number,time,severity,code,title,component,snap,unit,file,function,line,message\r\n"
               : "";
}

std::string RecordFormatter::lineOf(Record const & record, std::string_view json)
{
    switch (m_format) {
    case RecordFormat::json:
        return withoutControls(json) + "\n";
    case RecordFormat::csv:
        return csvLine(record);
    case RecordFormat::lnav:
        return streamLine(record);
    case RecordFormat::text:
        break;
    }
    return (m_isAligned && record.isRecord ? alignedLine(record) : plainLine(record)) + "\n";
}

std::string RecordFormatter::gapLine(std::uint64_t records, std::string_view what) const
{
    switch (m_format) {
    case RecordFormat::json:
        return Json{{"missed", records}}.dump() + "\n";
    case RecordFormat::csv:
        return {};
    case RecordFormat::lnav:
    case RecordFormat::text:
        break;
    }
    return "... " + std::to_string(records) + (records == 1 ? " record " : " records ") + std::string(what) + "\n";
}

std::string RecordFormatter::alignedLine(Record const & record)
{
    std::string unit = printable(record.unit);
    m_unitWidth = std::max(m_unitWidth, std::min(unit.size(), kWidestUnit));
    unit.resize(std::max(unit.size(), m_unitWidth), ' ');
    std::string const time = printable(record.time);
    std::string const text = letterOf(record.severity) + (" " + unit) + " " + printable(record.message);
    if (!m_isColoured) {
        return time + " " + text;
    }
    return kFaint + time + kReset + " " + colourOf(record.severity) + text + kReset;
}

} // namespace tracectl
