#pragma once

#include <cstdint>
#include <cstring>

namespace common::log::trace {

/// The magnitude of a finite number: mantissa * 2^exponent, with a mantissa below 2^53.
struct BinaryNumber
{
    std::uint64_t mantissa;
    int exponent;
};

constexpr unsigned int kFractionBits = 52;
constexpr std::uint64_t kHiddenBit = std::uint64_t{1} << kFractionBits;
constexpr unsigned int kInfinityExponent = 0x7FF;

/// The three fields of a number as IEEE 754 lays them out.
struct NumberFields
{
    explicit NumberFields(double number) noexcept
    {
        std::uint64_t bits = 0;
        static_assert(sizeof bits == sizeof number);
        std::memcpy(&bits, &number, sizeof bits);
        isNegative = bits >> 63 != 0;
        exponent = static_cast<unsigned int>(bits >> kFractionBits) & kInfinityExponent;
        fraction = bits & (kHiddenBit - 1);
    }

    bool isFinite() const noexcept { return exponent != kInfinityExponent; }

    BinaryNumber magnitude() const noexcept
    {
        constexpr int kBias = 1023 + static_cast<int>(kFractionBits);
        return exponent == 0 ? BinaryNumber{fraction, 1 - kBias}
                             : BinaryNumber{fraction | kHiddenBit, static_cast<int>(exponent) - kBias};
    }

    bool isNegative;
    unsigned int exponent;
    std::uint64_t fraction;
};

} // namespace common::log::trace
