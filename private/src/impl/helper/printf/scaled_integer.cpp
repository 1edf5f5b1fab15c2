#include "helper/printf/scaled_integer.h"

namespace common::log::trace {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr unsigned int kMaximalPowerOfFive = 27; // below 2^63, so that its product with a mantissa is below 2^116
constexpr unsigned int kMaximalPowerOfTen = 19;

template <std::uint64_t kBase, unsigned int kMaximalPower>
struct Powers
{
    constexpr Powers() noexcept : values{1}
    {
        for (unsigned int i = 1; i <= kMaximalPower; ++i) {
            values[i] = values[i - 1] * kBase;
        }
    }

    std::uint64_t values[kMaximalPower + 1];
};

constexpr Powers<5, kMaximalPowerOfFive> kPowersOfFive;
constexpr Powers<10, kMaximalPowerOfTen> kPowersOfTen;

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
    Wide const product = Wide{number.mantissa} * kPowersOfFive.values[power];
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
    std::uint64_t const divisor = kPowersOfTen.values[power];
    Wide const quotient = whole / divisor;
    auto const rest = static_cast<std::uint64_t>(whole - quotient * divisor);
    std::uint64_t const half = divisor / 2;
    return setRounded(quotient, rest > half || (rest == half && hasFraction), rest == half, result);
}

} // namespace

std::uint64_t powerOfTen(unsigned int power) noexcept { return kPowersOfTen.values[power]; }

bool scaleToInteger(BinaryNumber number, std::int64_t power, std::uint64_t & result) noexcept
{
    if (power > std::int64_t{kMaximalPowerOfFive} || power < -std::int64_t{kMaximalPowerOfTen}) {
        return false;
    }
    return power < 0 ? divide(number, static_cast<int>(-power), result)
                     : multiply(number, static_cast<int>(power), result);
}

} // namespace common::log::trace
