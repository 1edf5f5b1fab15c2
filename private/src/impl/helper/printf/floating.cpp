#include "helper/printf/floating.h"

#include "helper/printf/binary_number.h"
#include "helper/printf/decimal_layout.h"
#include "helper/printf/exact_decimal.h"
#include "helper/printf/field.h"
#include "helper/printf/hexadecimal.h"
#include "helper/printf/short_decimal.h"

#include <cmath>
#include <cstdint>

namespace common::log::trace {

namespace {

constexpr int kDefaultPrecision = 6;

enum class Style
{
    fixed,
    scientific,
    general,
};

Style styleOf(char letter)
{
    switch (letter) {
    case 'f':
    case 'F':
        return Style::fixed;
    case 'e':
    case 'E':
        return Style::scientific;
    default:
        return Style::general;
    }
}

/// What a conversion says of the digits of a number.
struct Wanted
{
    explicit Wanted(Conversion const & conversion)
        : style(styleOf(conversion.letter)),
          precision(conversion.precision == Conversion::kNoPrecision ? kDefaultPrecision : conversion.precision)
    {
        if (style == Style::general && precision == 0) {
            precision = 1;
        }
    }

    /// Of a style that does not count places.
    std::int64_t digits() const { return style == Style::scientific ? std::int64_t{precision} + 1 : precision; }

    Style style;
    int precision;
};

NumberPrefix prefixOf(Conversion const & conversion, NumberFields const & fields)
{
    NumberPrefix prefix;
    prefix.putSign(conversion, fields.isNegative);
    return prefix;
}

template <typename Digits>
void writeDigits(BoundedText & out, Conversion const & conversion, double number, Digits const & digits)
{
    NumberFields const fields(number);
    Wanted const wanted(conversion);
    NumberPrefix const prefix = prefixOf(conversion, fields);
    switch (wanted.style) {
    case Style::fixed:
        writeFixed(out, conversion, prefix, digits, wanted.precision);
        break;
    case Style::scientific:
        writeScientific(out, conversion, prefix, digits, wanted.precision);
        break;
    case Style::general:
        writeGeneral(out, conversion, prefix, digits, wanted.precision, std::fabs(number));
        break;
    }
}

// Each of the two below holds many digits. They are no part of one another nor of their caller, so that each is on the
// stack alone.

/// @return false, with nothing written, where the digits are too many
[[gnu::noinline]] bool writeShort(BoundedText & out, Conversion const & conversion, double number)
{
    NumberFields const fields(number);
    Wanted const wanted(conversion);
    double const value = std::fabs(number);
    ShortDecimal decimal;
    bool const isShort = wanted.style == Style::fixed
                             ? decimal.roundToPlaces(value, fields.magnitude(), wanted.precision)
                             : decimal.roundToDigits(value, fields.magnitude(), wanted.digits());
    if (isShort) {
        writeDigits(out, conversion, number, decimal);
    }
    return isShort;
}

[[gnu::noinline]] void writeExact(BoundedText & out, Conversion const & conversion, double number)
{
    NumberFields const fields(number);
    Wanted const wanted(conversion);
    ExactDecimal decimal(fields.magnitude());
    wanted.style == Style::fixed ? decimal.roundToPlaces(wanted.precision) : decimal.roundToDigits(wanted.digits());
    writeDigits(out, conversion, number, decimal);
}

[[gnu::noinline]] void writeNotFinite(BoundedText & out, Conversion const & conversion, double number)
{
    NumberFields const fields(number);
    char const * const lowerCase = fields.fraction == 0 ? "inf" : "nan";
    char const * const upperCase = fields.fraction == 0 ? "INF" : "NAN";
    std::uint64_t const behind = beginField(out, conversion, prefixOf(conversion, fields), 3, false);
    out.put(conversion.isUpperCase() ? upperCase : lowerCase, 3);
    out.fill(' ', behind);
}

} // namespace

void writeFloating(BoundedText & out, Conversion const & conversion, double number) noexcept
{
    NumberFields const fields(number);
    if (!fields.isFinite()) {
        writeNotFinite(out, conversion, number);
    } else if (conversion.letter == 'a' || conversion.letter == 'A') {
        writeHexadecimal(out, conversion, number);
    } else if (!writeShort(out, conversion, number)) {
        writeExact(out, conversion, number);
    }
}

} // namespace common::log::trace
