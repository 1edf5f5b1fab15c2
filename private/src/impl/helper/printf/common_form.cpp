#include "helper/printf/common_form.h"

#include "helper/printf/binary_number.h"
#include "helper/printf/digits.h"
#include "helper/printf/scaled_integer.h"

#include <algorithm>

namespace common::log::trace {

namespace {

constexpr auto kPowersOfFive = powersOf<5, 5>(); // the product of the last one, 625, and a mantissa is below 2^63

/// What `scaleToInteger` does, for numbers of moderate size with few places.
///
/// @return false for all others, with nothing computed
bool scaleInOneWord(BinaryNumber number, unsigned int places, std::uint64_t & result) noexcept
{
    int const shift = -number.exponent - static_cast<int>(places);
    if (places >= kPowersOfFive.size() || shift <= 0 || shift >= 64) {
        return false;
    }
    std::uint64_t const product = number.mantissa * kPowersOfFive[places];
    std::uint64_t const isOdd = product >> shift & 1U;
    result = (product + (std::uint64_t{1} << (shift - 1)) - 1 + isOdd) >> shift; // half to even
    return true;
}

} // namespace

char * writeCommonSigned(char * position, std::int64_t number) noexcept
{
    auto magnitude = static_cast<std::uint64_t>(number);
    if (number < 0) {
        *position++ = '-';
        magnitude = 0 - magnitude;
    }
    return writeDigitsAt(position, magnitude);
}

char * writeCommonFixed(char * position, double number, unsigned int places) noexcept
{
    NumberFields const fields(number);
    std::uint64_t scaled = 0;
    if (!fields.isFinite() ||
        !(scaleInOneWord(fields.magnitude(), places, scaled) || scaleToInteger(fields.magnitude(), places, scaled))) {
        return nullptr;
    }
    if (fields.isNegative) {
        *position++ = '-';
    }
    if (places == 0) {
        return writeDigitsAt(position, scaled);
    }
    // From the last digit on, so that no division is by anything but a constant.
    char * const end = position + std::max(countDigits(scaled), places + 1) + 1;
    char * next = end;
    for (; places >= 2; places -= 2, scaled /= 100) {
        putDigitPair(next -= 2, scaled % 100);
    }
    if (places == 1) {
        *--next = static_cast<char>('0' + scaled % 10);
        scaled /= 10;
    }
    *--next = '.';
    if (scaled == 0) {
        *position = '0';
    } else {
        (void)writeDigitsInFrontOf(next, scaled);
    }
    return end;
}

} // namespace common::log::trace
