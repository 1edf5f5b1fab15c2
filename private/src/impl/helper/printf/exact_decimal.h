#pragma once

#include "helper/printf/binary_number.h"
#include "helper/printf/bounded_text.h"

#include <cstdint>

namespace common::log::trace {

/// All decimal digits of a number, of which a double has at most 767; and then some of them, rounded half to even.
class ExactDecimal
{
public:
    explicit ExactDecimal(BinaryNumber number) noexcept;

    void roundToPlaces(std::int64_t places) noexcept;
    void roundToDigits(std::int64_t digits) noexcept { roundToPlaces(digits - 1 - exponent()); }

    // See decimal_layout.h.
    std::int64_t exponent() const noexcept;
    std::int64_t significant() const noexcept;
    void write(BoundedText & out, std::int64_t from, std::int64_t count) const noexcept;

private:
    /// Of nine digits each: 86 from the 307th to the 1074th place of the smallest normal numbers, and one to carry into.
    static constexpr int kBlocks = 87;

    void addWhole(BinaryNumber number) noexcept;
    void addFraction(std::uint64_t mantissa, int bits) noexcept;
    void addBlock(std::uint32_t block) noexcept;
    void setZero() noexcept;
    /// The place of the first digit that is not 0, counted from the first digit of all blocks.
    int firstDigit() const noexcept;

    std::uint32_t m_blocks[kBlocks]; // from the highest to the lowest; the first one is what a carry goes into
    int m_count = 1;
    int m_wholeBlocks = 1; // of them, in front of the point; below 0 where blocks of zeros behind it are left out
};

} // namespace common::log::trace
