#include "helper/printf/hexadecimal.h"

#include "helper/printf/binary_number.h"
#include "helper/printf/decimal_layout.h"
#include "helper/printf/field.h"

#include <algorithm>
#include <cstdint>

namespace common::log::trace {

namespace {

constexpr unsigned int kBitsOfDigit = 4;
constexpr int kFractionDigits = kFractionBits / kBitsOfDigit;

/// Drops digits of the fraction, half to even. They are 0 afterwards.
std::uint64_t rounded(std::uint64_t mantissa, int keptDigits)
{
    unsigned int const bits = static_cast<unsigned int>(kFractionDigits - keptDigits) * kBitsOfDigit;
    std::uint64_t const unit = std::uint64_t{1} << bits;
    std::uint64_t const rest = mantissa & (unit - 1);
    std::uint64_t const floored = mantissa - rest;
    bool const isOdd = (floored & unit) != 0;
    bool const isUp = rest > unit / 2 || (rest == unit / 2 && isOdd);
    return isUp ? floored + unit : floored;
}

int digitsOf(std::uint64_t mantissa)
{
    int digits = kFractionDigits;
    for (std::uint64_t rest = mantissa; digits != 0 && rest % 16 == 0; rest >>= kBitsOfDigit) {
        --digits;
    }
    return digits;
}

} // namespace

void writeHexadecimal(BoundedText & out, Conversion const & conversion, double number) noexcept
{
    bool const isUpperCase = conversion.isUpperCase();
    char const * const digits = isUpperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    NumberFields const fields(number);
    BinaryNumber const magnitude = fields.magnitude();
    std::uint64_t mantissa = magnitude.mantissa;
    int const exponent = mantissa == 0 ? 0 : magnitude.exponent + static_cast<int>(kFractionBits);
    int precision = conversion.precision;
    if (precision == Conversion::kNoPrecision) {
        precision = digitsOf(mantissa);
    } else if (precision < kFractionDigits) {
        mantissa = rounded(mantissa, precision);
    }
    NumberPrefix prefix;
    prefix.putSign(conversion, fields.isNegative);
    prefix.put('0');
    prefix.put(isUpperCase ? 'X' : 'x');
    ExponentText const exponentText(isUpperCase ? 'P' : 'p', exponent, 1);
    bool const isPointed = hasPoint(conversion, precision);
    int const shown = std::min(precision, kFractionDigits);
    std::uint64_t const length = static_cast<std::uint64_t>(precision) + (isPointed ? 2U : 1U) + exponentText.length;
    std::uint64_t const behind = beginField(out, conversion, prefix, length, conversion.isZeroPadded);
    out.put(digits[mantissa >> kFractionBits]);
    if (isPointed) {
        out.put('.');
    }
    for (int i = 1; i <= shown; ++i) {
        out.put(digits[mantissa >> (kFractionBits - static_cast<unsigned int>(i) * kBitsOfDigit) & 0xF]);
    }
    out.fill('0', static_cast<std::size_t>(precision - shown));
    out.put(exponentText.begin, exponentText.length);
    out.fill(' ', behind);
}

} // namespace common::log::trace
