#include "helper/printf/text.h"

#include "helper/printf/field.h"

#include <cstring>

namespace common::log::trace {

namespace {

constexpr char kNullText[] = "(null)";

/// Reads no further than a precision lets it: behind that, there need not be an end.
std::size_t lengthOf(char const * text, int precision)
{
    if (precision == Conversion::kNoPrecision) {
        return std::strlen(text);
    }
    auto const limit = static_cast<std::size_t>(precision);
    auto const * const end = static_cast<char const *>(std::memchr(text, '\0', limit));
    return end == nullptr ? limit : static_cast<std::size_t>(end - text);
}

void writePadded(BoundedText & out, Conversion const & conversion, char const * text, std::size_t length)
{
    std::uint64_t const behind = beginField(out, conversion, NumberPrefix(), length, false);
    out.put(text, length);
    out.fill(' ', behind);
}

} // namespace

void writeCharacter(BoundedText & out, Conversion const & conversion, char character) noexcept
{
    writePadded(out, conversion, &character, 1);
}

void writeText(BoundedText & out, Conversion const & conversion, char const * text) noexcept
{
    if (text == nullptr) {
        bool const isWhole = conversion.precision == Conversion::kNoPrecision ||
                             conversion.precision >= static_cast<int>(sizeof kNullText - 1);
        text = isWhole ? kNullText : "";
    }
    writePadded(out, conversion, text, lengthOf(text, conversion.precision));
}

} // namespace common::log::trace
