#include "helper/printf/scaled_integer.h"

#include "helper/printf/digits.h"

#include <cstddef>

namespace common::log::trace {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr std::int64_t kMaximalPowerOfFive = 27; // below 2^63, so that its product with a mantissa is below 2^116
constexpr std::int64_t kMaximalPowerOfTen = kPowersOfTen.size() - 1;

constexpr auto kPowersOfFive = powersOf<5, kMaximalPowerOfFive + 1>();

/// A quotient, with what decides on its last digit.
bool setRounded(Wide quotient, bool isAboveHalf, bool isHalf, std::uint64_t & result)
{
    if (quotient >> 63 != 0) {
        return false;
    }
    auto const whole = static_cast<std::uint64_t>(quotient);
    result = whole + (isAboveHalf || (isHalf && (whole & 1) != 0) ? 1 : 0);
    return true;
}

/// 10^power is 5^power * 2^power, and powers of two are shifts.
bool multiply(BinaryNumber number, int power, std::uint64_t & result)
{
    Wide const product = Wide{number.mantissa} * kPowersOfFive[static_cast<std::size_t>(power)];
    int const shift = -(number.exponent + power);
    if (shift > 0 && shift < 64) { // as for numbers of moderate size: one word is all that is shifted out
        std::uint64_t const unit = std::uint64_t{1} << shift;
        std::uint64_t const rest = static_cast<std::uint64_t>(product) & (unit - 1);
        return setRounded(product >> shift, rest > unit / 2, rest == unit / 2, result);
    }
    if (shift <= 0) {
        if (shift < -63 || product >> (64 + shift) != 0) {
            return false;
        }
        result = static_cast<std::uint64_t>(product) << -shift;
        return true;
    }
    if (shift > 117) {
        result = 0; // below a half whatever the product is
        return true;
    }
    Wide const quotient = product >> shift;
    Wide const rest = product - (quotient << shift);
    Wide const half = Wide{1} << (shift - 1);
    return setRounded(quotient, rest > half, rest == half, result);
}

bool divide(BinaryNumber number, int power, std::uint64_t & result)
{
    Wide whole = number.mantissa;
    bool hasFraction = false;
    if (number.exponent > 74) {
        return false;
    }
    if (number.exponent >= 0) {
        whole <<= number.exponent;
    } else if (number.exponent > -64) {
        std::uint64_t const floored = number.mantissa >> -number.exponent;
        hasFraction = floored << -number.exponent != number.mantissa;
        whole = floored;
    } else {
        whole = 0;
        hasFraction = number.mantissa != 0;
    }
    std::uint64_t const divisor = kPowersOfTen[static_cast<std::size_t>(power)];
    Wide const quotient = whole / divisor;
    auto const rest = static_cast<std::uint64_t>(whole - quotient * divisor);
    std::uint64_t const half = divisor / 2;
    return setRounded(quotient, rest > half || (rest == half && hasFraction), rest == half, result);
}

} // namespace

bool scaleToInteger(BinaryNumber number, std::int64_t power, std::uint64_t & result) noexcept
{
    if (power > kMaximalPowerOfFive || power < -kMaximalPowerOfTen) {
        return false;
    }
    return power < 0 ? divide(number, static_cast<int>(-power), result)
                     : multiply(number, static_cast<int>(power), result);
}

} // namespace common::log::trace
