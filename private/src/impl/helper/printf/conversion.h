#pragma once

#include <cstdint>

namespace common::log::trace {

enum class ArgumentLength : std::uint8_t
{
    none,
    hh,
    h,
    l,
    ll,
    j,
    z,
    t,
};

/// One conversion of a format, as it is written: what comes out of the list of arguments is not in it yet.
struct Conversion
{
    static constexpr int kNoPrecision = -1;

    bool isLeft : 1;       // -
    bool hasPlus : 1;      // +
    bool hasBlank : 1;     // a blank
    bool isAlternate : 1;  // #
    bool isZeroPadded : 1; // 0
    bool isWidthListed;    // * in the place of a number
    bool isPrecisionListed;
    ArgumentLength length;
    char letter; // 'd' for 'i' as well
    int width;
    int precision;

    bool isUpperCase() const { return letter >= 'A' && letter <= 'Z'; }
};

/// A conversion of which nothing is said but its letter.
constexpr Conversion plainConversion(char letter) noexcept
{
    return {false, false, false, false, false, false, false, ArgumentLength::none, letter, 0, Conversion::kNoPrecision};
}

/// Reads the conversion behind a percent sign.
///
/// @return where the format goes on, or null for a conversion that `BoundedFormat` does not take
char const * readConversion(char const * position, Conversion & conversion) noexcept;

} // namespace common::log::trace
