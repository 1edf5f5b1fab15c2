#include "record_head.h"

#include <algorithm>

namespace common::log::host {

namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

bool isTime(std::string_view text)
{
    constexpr std::string_view kPattern = "0000-00-00T00:00:00.000000Z";
    return std::equal(text.begin(), text.end(), kPattern.begin(), kPattern.end(), [](char character, char pattern) {
        return pattern == '0' ? isDigit(character) : character == pattern;
    });
}

bool isCode(std::string_view text)
{
    return text.size() == 8 && std::all_of(text.begin(), text.end(), [](char character) {
               return isDigit(character) || (character >= 'A' && character <= 'F');
           });
}

/// Takes a field off the front of a text. Without a separator it is the whole of it.
std::string_view takeField(std::string_view & text)
{
    std::string_view const field = text.substr(0, text.find('|'));
    text.remove_prefix(std::min(field.size() + 1, text.size()));
    return field;
}

} // namespace

std::optional<RecordHead> parseRecordHead(std::string_view record)
{
    record.remove_prefix(std::min(record.find_first_not_of('\n'), record.size()));
    RecordHead head;
    head.time = takeField(record);
    if (!isTime(head.time)) {
        return {};
    }
    (void)takeField(record); // reserved
    head.code = takeField(record);
    if (!isCode(head.code)) {
        return {};
    }
    struct Start
    {
        std::string_view words;
        RecordSeverity severity;
    };
    constexpr Start kStarts[] = {{"Trace message ", RecordSeverity::message},
                                 {"Trace warning ", RecordSeverity::warning},
                                 {"Trace error ", RecordSeverity::error}};
    for (Start const & start : kStarts) {
        if (record.substr(0, start.words.size()) == start.words) {
            head.severity = start.severity;
            head.title = record;
            head.name = record.substr(start.words.size());
            return head;
        }
    }
    return {};
}

} // namespace common::log::host
