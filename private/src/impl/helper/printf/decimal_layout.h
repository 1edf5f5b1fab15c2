#pragma once

#include "helper/printf/bounded_text.h"
#include "helper/printf/conversion.h"
#include "helper/printf/digits.h"
#include "helper/printf/field.h"

#include <algorithm>
#include <cstdint>

namespace common::log::trace {

// How the digits of a rounded number become a text. `Digits` stands for d0.d1d2... * 10^exponent(), with zeros without
// end behind the last digit:
//   std::int64_t exponent() const           0 for the number 0
//   std::int64_t significant() const        how many digits there are up to the last one that is not 0, at least one
//   void write(BoundedText & out, std::int64_t from, std::int64_t count) const

inline bool hasPoint(Conversion const & conversion, std::int64_t precision)
{
    return precision > 0 || conversion.isAlternate;
}

template <typename Digits>
void writeFixed(BoundedText & out, Conversion const & conversion, NumberPrefix const & prefix, Digits const & digits,
                std::int64_t precision)
{
    std::int64_t const exponent = digits.exponent();
    std::int64_t const whole = std::max<std::int64_t>(exponent + 1, 0);
    std::int64_t const zeros = std::min(std::max<std::int64_t>(-exponent - 1, 0), precision);
    bool const isPointed = hasPoint(conversion, precision);
    auto const length = static_cast<std::uint64_t>(std::max<std::int64_t>(whole, 1) + (isPointed ? 1 : 0) + precision);
    std::uint64_t const behind = beginField(out, conversion, prefix, length, conversion.isZeroPadded);
    if (whole == 0) {
        out.put('0');
    } else {
        digits.write(out, 0, whole);
    }
    if (isPointed) {
        out.put('.');
        out.fill('0', static_cast<std::size_t>(zeros));
        digits.write(out, whole, precision - zeros);
    }
    out.fill(' ', behind);
}

/// 'e' or 'p', a sign, and at least so many digits.
struct ExponentText
{
    ExponentText(char letter, std::int64_t exponent, unsigned int leastDigits)
    {
        char * const end = text + sizeof text;
        begin = writeDigitsInFrontOf(end, static_cast<std::uint64_t>(exponent < 0 ? -exponent : exponent));
        while (end - begin < static_cast<int>(leastDigits)) {
            *--begin = '0';
        }
        *--begin = exponent < 0 ? '-' : '+';
        *--begin = letter;
        length = static_cast<std::size_t>(end - begin);
    }
    ExponentText(ExponentText const &) = delete;
    ExponentText & operator=(ExponentText const &) = delete;

    char text[8];
    char * begin;
    std::size_t length;
};

template <typename Digits>
void writeScientific(BoundedText & out, Conversion const & conversion, NumberPrefix const & prefix,
                     Digits const & digits, std::int64_t precision)
{
    ExponentText const exponent(conversion.isUpperCase() ? 'E' : 'e', digits.exponent(), 2);
    bool const isPointed = hasPoint(conversion, precision);
    auto const length = static_cast<std::uint64_t>(1 + (isPointed ? 1 : 0) + precision) + exponent.length;
    std::uint64_t const behind = beginField(out, conversion, prefix, length, conversion.isZeroPadded);
    digits.write(out, 0, 1);
    if (isPointed) {
        out.put('.');
        digits.write(out, 1, precision);
    }
    out.put(exponent.begin, exponent.length);
    out.fill(' ', behind);
}

/// Whether rounding to so many digits is what takes a number out of the range of the fixed form.
inline bool isLiftedByRounding(double value, std::int64_t exponent, std::int64_t wanted)
{
    constexpr std::int64_t kLastWithFraction = 16; // a larger number of so many digits is a whole one
    return exponent == wanted && wanted <= kLastWithFraction &&
           value < static_cast<double>(kPowersOfTen[static_cast<std::size_t>(wanted)]);
}

/// @param wanted  the digits that were rounded to, at least one
/// @param value   what was rounded
template <typename Digits>
void writeGeneral(BoundedText & out, Conversion const & conversion, NumberPrefix const & prefix, Digits const & digits,
                  std::int64_t wanted, double value)
{
    std::int64_t const exponent = digits.exponent();
    // The C library of GNU counts the digits behind the point ahead of rounding: none for 999999.5 and "%#g", which it
    // prints as "1.e+06".
    bool const isWhole = conversion.isAlternate && !isLiftedByRounding(value, exponent, wanted);
    std::int64_t const shown = isWhole ? wanted : std::min(wanted, digits.significant());
    if (exponent < -4 || exponent >= wanted) {
        writeScientific(out, conversion, prefix, digits, shown - 1);
    } else {
        writeFixed(out, conversion, prefix, digits, std::max<std::int64_t>(shown - 1 - exponent, 0));
    }
}

} // namespace common::log::trace
