#pragma once

#include "helper/printf/bounded_text.h"
#include "helper/printf/conversion.h"

#include <cstdint>

namespace common::log::trace {

/// What stands in front of the digits of a number: a sign, the mark of a base, or both.
struct NumberPrefix
{
    char text[3];
    unsigned int length = 0;

    void put(char character) { text[length++] = character; }

    void putSign(Conversion const & conversion, bool isNegative)
    {
        if (isNegative) {
            put('-');
        } else if (conversion.hasPlus) {
            put('+');
        } else if (conversion.hasBlank) {
            put(' ');
        }
    }
};

/// Writes what stands in front of a body: padding and prefix, or prefix and zeros.
///
/// @param length        of the body, which the caller writes next
/// @param isZeroPadded  whether zeros may be the padding
/// @return how many blanks the caller writes behind the body
std::uint64_t beginField(BoundedText & out, Conversion const & conversion, NumberPrefix const & prefix,
                         std::uint64_t length, bool isZeroPadded) noexcept;

} // namespace common::log::trace
