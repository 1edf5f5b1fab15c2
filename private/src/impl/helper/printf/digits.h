#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace common::log::trace {

// The decimal digits of whole numbers, for texts of which there is one in every record: without a call, and two at a
// time.

inline constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839404142434445464748"
    "49505152535455565758596061626364656667686970717273747576777879808182838485868788899091929394959697"
    "9899";

template <std::uint64_t kBase, std::size_t kSize>
constexpr std::array<std::uint64_t, kSize> powersOf() noexcept
{
    std::array<std::uint64_t, kSize> powers{1};
    for (std::size_t power = 1; power != kSize; ++power) {
        powers[power] = kBase * powers[power - 1];
    }
    return powers;
}

inline constexpr auto kPowersOfTen = powersOf<10, 20>(); // as many as 64 bits hold

/// @param number  below 100
inline void putDigitPair(char * text, std::uint64_t number) noexcept { std::memcpy(text, kDigitPairs + 2 * number, 2); }

/// How many digits a number has; 0 has none.
inline unsigned int countDigits(std::uint64_t number) noexcept
{
    if (number == 0) {
        return 0;
    }
    // The logarithm to the base ten of the power of two above the number, rounded down.
    auto const bits = 64 - static_cast<unsigned int>(__builtin_clzll(number));
    unsigned int const digits = bits * 1233 >> 12U;
    return digits + (number >= kPowersOfTen[digits] ? 1 : 0);
}

/// The digits of a number end where `end` does.
///
/// @return where they begin, which is `end` for 0
inline char * writeDigitsInFrontOf(char * end, std::uint64_t number) noexcept
{
    for (; number >= 100; number /= 100) {
        putDigitPair(end -= 2, number % 100);
    }
    if (number >= 10) {
        putDigitPair(end -= 2, number);
    } else if (number != 0) {
        *--end = static_cast<char>('0' + number);
    }
    return end;
}

/// The digits of a number, and '0' for 0, where there is room for all that a number may have.
///
/// @return behind the last one
inline char * writeDigitsAt(char * position, std::uint64_t number) noexcept
{
    if (number < 10) {
        *position = static_cast<char>('0' + number);
        return position + 1;
    }
    char * const end = position + countDigits(number);
    (void)writeDigitsInFrontOf(end, number);
    return end;
}

} // namespace common::log::trace
