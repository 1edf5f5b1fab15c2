#pragma once

#include "helper/printf/binary_number.h"
#include "helper/printf/bounded_text.h"

#include <cstdint>

namespace common::log::trace {

/// The decimal digits of a number, rounded exactly: half to even, on the value that the bits stand for. A number of
/// moderate size and precision is a whole number after one multiplication by a power of ten, which 128 bits hold;
/// others are left to `std::to_chars`.
class ShortDecimal
{
public:
    /// Rounds to digits behind the point.
    ///
    /// @param value  not negative, finite; `number` is the same
    /// @return false where the digits are too many for this: there are none then
    bool roundToPlaces(double value, BinaryNumber number, std::int64_t places) noexcept;

    /// Rounds to digits from the first one that is not 0.
    ///
    /// @param digits  at least one
    bool roundToDigits(double value, BinaryNumber number, std::int64_t digits) noexcept;

    // See decimal_layout.h.
    std::int64_t exponent() const noexcept { return m_exponent; }
    std::int64_t significant() const noexcept;
    void write(BoundedText & out, std::int64_t from, std::int64_t count) const noexcept;

private:
    /// What is longer goes another way. More than what people print, and little of the stack.
    static constexpr int kSize = 64;

    void setScaled(std::uint64_t number, int power) noexcept;
    void skipLeadingZeros() noexcept;

    char m_text[kSize];
    char const * m_begin;
    int m_count;
    int m_exponent;
};

} // namespace common::log::trace
