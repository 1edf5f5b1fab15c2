#include <common/log/host/record_text.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <system_error>

namespace common::log::host {

namespace {

bool isPlain(char character) { return character >= ' ' && character < '\x7f' && character != '"' && character != '\\'; }

/// Most fields need no escape, and are copied: as values of the JSON library they would take most of the time.
void appendText(std::string & json, std::string_view text)
{
    if (std::all_of(text.begin(), text.end(), isPlain)) {
        json.append("\"").append(text).append("\"");
    } else {
        json += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }
}

void appendField(std::string & json, char const * name, std::string_view text)
{
    json.append(",\"").append(name).append("\":");
    appendText(json, text);
}

std::string numberOrNull(std::string_view text)
{
    std::int64_t number = 0;
    char const * const end = text.data() + text.size();
    auto const read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end ? std::to_string(number) : "null"; // no zeros in front
}

} // namespace

std::string recordJson(std::uint64_t number, std::string_view record)
{
    std::string json;
    json.reserve(record.size() + 256); // names, quotes, severity and number
    json.append("{\"number\":").append(std::to_string(number));
    if (std::optional<RecordText> const read = parseRecord(record)) {
        appendField(json, "time", read->time);
        appendField(json, "severity", nameOf(read->severity));
        appendField(json, "code", read->code);
        appendField(json, "title", read->title);
        appendField(json, "component", read->component);
        appendField(json, "snap", read->snap);
        appendField(json, "unit", read->unit);
        appendField(json, "file", read->file);
        appendField(json, "function", read->function);
        json.append(",\"line\":").append(numberOrNull(read->line));
        appendField(json, "message", read->message);
    } else {
        appendField(json, "text", record);
    }
    return json.append("}");
}

} // namespace common::log::host
