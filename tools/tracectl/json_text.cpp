#include "json_text.h"

#include <cstdio>

namespace tracectl {

namespace {

std::string escapeOf(unsigned int point)
{
    char text[8];
    (void)std::snprintf(text, sizeof text, "\\u%04x", point);
    return text;
}

} // namespace

std::string withoutControls(std::string_view json)
{
    constexpr unsigned char kDelete = 0x7F;
    constexpr unsigned char kLeadOfC1 = 0xC2; // of U+0080 to U+00BF
    std::string text;
    text.reserve(json.size());
    for (std::size_t index = 0; index < json.size(); ++index) {
        auto const byte = static_cast<unsigned char>(json[index]);
        auto const next = index + 1 < json.size() ? static_cast<unsigned char>(json[index + 1]) : 0U;
        if (byte < ' ') {
            text += ' '; // outside of a text: blanks; within one, no JSON has it
        } else if (byte == kDelete) {
            text += escapeOf(byte);
        } else if (byte == kLeadOfC1 && next < 0xA0) {
            text += escapeOf(next);
            ++index;
        } else {
            text += json[index];
        }
    }
    return text;
}

std::string safeJson(Json const & value)
{
    return withoutControls(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

} // namespace tracectl
