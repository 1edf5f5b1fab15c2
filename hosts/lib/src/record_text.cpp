#include <common/log/host/record_text.h>

#include "record_head.h"

#include <cstddef>
#include <cstdio>

namespace common::log::host {

namespace {

/// Reads line and message, and the function ahead of them, which ends where a line number or an empty field follows.
bool takeFunctionAndMore(std::string_view text, RecordText & record)
{
    for (auto end = text.find('|'); end != std::string_view::npos; end = text.find('|', end + 1)) {
        std::size_t const line = end + 1;
        std::size_t const digits = line < text.size() && text[line] == '-' ? line + 1 : line;
        auto const lineEnd = text.find_first_not_of("0123456789", digits);
        if (lineEnd != std::string_view::npos && text[lineEnd] == '|') {
            record.function = text.substr(0, end);
            record.line = text.substr(line, lineEnd - line);
            record.message = text.substr(lineEnd + 1);
            return true;
        }
    }
    return false;
}

/// Reads what stands behind the title, where the unit has this name.
bool takeFields(std::string_view text, std::string_view unit, RecordText & record)
{
    std::string const again = "|" + std::string(unit) + "|";
    for (auto place = text.find(again); place != std::string_view::npos; place = text.find(again, place + 1)) {
        std::string_view const origin = text.substr(0, place);
        auto const snap = origin.rfind('|');
        if (snap == std::string_view::npos) {
            continue; // only the component stands ahead
        }
        std::string_view const behind = text.substr(place + again.size());
        auto const fileEnd = behind.find('|');
        if (fileEnd == std::string_view::npos || !takeFunctionAndMore(behind.substr(fileEnd + 1), record)) {
            return false; // nor behind a later place: less follows there
        }
        record.component = origin.substr(0, snap);
        record.snap = origin.substr(snap + 1);
        record.unit = text.substr(place + 1, unit.size());
        record.file = behind.substr(0, fileEnd);
        return true;
    }
    return false;
}

/// The code point that a text begins with.
struct CodePoint
{
    char32_t value;
    std::size_t bytes; ///< that it takes; where it is not valid, those that belong together
    bool isValid;
};

CodePoint firstCodePoint(std::string_view text)
{
    auto const byte = [text](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    unsigned const lead = byte(0);
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return {0, 1, false};
    }
    std::size_t const size = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    char32_t value = lead & (0x7FU >> size);
    for (std::size_t index = 1; index < size; ++index) {
        unsigned lowest = 0x80;
        unsigned highest = 0xBF;
        if (index == 1) { // neither overlong, nor a surrogate, nor above the last one
            lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
            highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
        }
        if (index >= text.size() || byte(index) < lowest || byte(index) > highest) {
            return {0, index, false};
        }
        value = (value << 6) | (byte(index) & 0x3FU);
    }
    return {value, size, true};
}

bool isControl(char32_t point) { return point < 0x20 || (point >= 0x7F && point < 0xA0); }

/// Whether it ends the line or turns the direction of what follows, where a terminal knows of it.
bool movesText(char32_t point) { return (point >= 0x2028 && point <= 0x202E) || (point >= 0x2066 && point <= 0x2069); }

void appendEscape(std::string & text, char32_t point)
{
    switch (point) {
    case '\n':
        text += "\\n";
        return;
    case '\r':
        text += "\\r";
        return;
    case '\t':
        text += "\\t";
        return;
    default:
        char escape[16];
        (void)std::snprintf(escape, sizeof escape, point < 0x100 ? "\\x%02x" : "\\u%04x", static_cast<unsigned>(point));
        text += escape;
    }
}

} // namespace

char const * nameOf(RecordSeverity severity)
{
    switch (severity) {
    case RecordSeverity::message:
        return "message";
    case RecordSeverity::warning:
        return "warning";
    case RecordSeverity::error:
        break;
    }
    return "error";
}

std::optional<RecordText> parseRecord(std::string_view record)
{
    std::optional<RecordHead> const head = parseRecordHead(record);
    if (!head) {
        return {};
    }
    RecordText read;
    read.time = head->time;
    read.code = head->code;
    read.severity = head->severity;
    std::string_view const name = head->name;
    for (auto end = name.find(kBehindTitle); end <= kLongestUnitName; end = name.find(kBehindTitle, end + 1)) {
        if (takeFields(name.substr(end + kBehindTitle.size()), name.substr(0, end), read)) {
            read.title = head->title.substr(0, head->title.size() - name.size() + end);
            return read;
        }
    }
    return {};
}

std::string printable(std::string_view text)
{
    std::string printed;
    printed.reserve(text.size());
    while (!text.empty()) {
        CodePoint const point = firstCodePoint(text);
        if (!point.isValid) {
            printed += "\xEF\xBF\xBD"; // U+FFFD
        } else if (isControl(point.value) || movesText(point.value)) {
            appendEscape(printed, point.value);
        } else {
            printed += text.substr(0, point.bytes);
        }
        text.remove_prefix(point.bytes);
    }
    return printed;
}

} // namespace common::log::host
