#include "helper/printf/short_decimal.h"

#include "helper/printf/digits.h"
#include "helper/printf/scaled_integer.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace common::log::trace {

namespace {

/// The exponent to the base ten of 2^`power`, rounded down: exact for all that a double can hold.
int decimalExponentOfPower(int power)
{
    constexpr std::int64_t kLogarithm = 78913; // of 2 to the base 10, times 2^18
    constexpr std::int64_t kUnit = std::int64_t{1} << 18;
    std::int64_t const product = power * kLogarithm;
    return static_cast<int>((product < 0 ? product - (kUnit - 1) : product) / kUnit);
}

} // namespace

bool ShortDecimal::roundToPlaces(double value, BinaryNumber number, std::int64_t places) noexcept
{
    std::uint64_t scaled = 0;
    if (scaleToInteger(number, places, scaled)) {
        setScaled(scaled, static_cast<int>(places));
        return true;
    }
    int const bits = static_cast<int>(kFractionBits) + 1;
    int const whole = std::max(decimalExponentOfPower(number.exponent + bits), 0) + 1;
    if (whole + 1 + places > kSize) {
        return false;
    }
    auto const [end, error] =
        std::to_chars(m_text, m_text + kSize, value, std::chars_format::fixed, static_cast<int>(places));
    if (error != std::errc()) {
        return false;
    }
    // The point goes, by one step of what stands in front of it.
    char * const point = std::find(m_text, end, '.');
    m_begin = m_text;
    m_count = static_cast<int>(end - m_text);
    m_exponent = static_cast<int>(point - m_text) - 1;
    if (point != end) {
        std::copy_backward(m_text, point, point + 1);
        ++m_begin;
        --m_count;
    }
    skipLeadingZeros();
    return true;
}

bool ShortDecimal::roundToDigits(double value, BinaryNumber number, std::int64_t digits) noexcept
{
    constexpr std::int64_t kMaximalScaledDigits = 18;
    constexpr int kMaximalExponentSize = 5; // e-324
    if (number.mantissa == 0) {
        setScaled(0, 0);
        return true;
    }
    if (digits <= kMaximalScaledDigits && number.mantissa >= kHiddenBit) {
        int exponent = decimalExponentOfPower(number.exponent + static_cast<int>(kFractionBits));
        std::uint64_t scaled = 0;
        while (scaleToInteger(number, digits - 1 - exponent, scaled)) {
            if (scaled < kPowersOfTen[static_cast<std::size_t>(digits)]) {
                setScaled(scaled, static_cast<int>(digits) - 1 - exponent);
                return true;
            }
            ++exponent; // a digit too many: the power of two lies below a power of ten, the number does not
        }
    }
    if (digits + 1 + kMaximalExponentSize > kSize) {
        return false;
    }
    auto const [end, error] =
        std::to_chars(m_text, m_text + kSize, value, std::chars_format::scientific, static_cast<int>(digits) - 1);
    if (error != std::errc()) {
        return false;
    }
    char const * const exponent = std::find(m_text, end, 'e') + 1;
    (void)std::from_chars(exponent + (*exponent == '+' ? 1 : 0), end, m_exponent);
    m_begin = m_text;
    m_count = static_cast<int>(digits);
    if (digits != 1) {
        m_text[1] = m_text[0];
        ++m_begin;
    }
    return true;
}

void ShortDecimal::setScaled(std::uint64_t number, int power) noexcept
{
    char * const end = m_text + kSize;
    char * const begin = writeDigitsInFrontOf(end, number);
    m_begin = begin;
    m_count = static_cast<int>(end - begin);
    m_exponent = m_count == 0 ? 0 : m_count - 1 - power;
}

void ShortDecimal::skipLeadingZeros() noexcept
{
    for (; m_count != 0 && *m_begin == '0'; ++m_begin) {
        --m_count;
        --m_exponent;
    }
    if (m_count == 0) {
        m_exponent = 0;
    }
}

std::int64_t ShortDecimal::significant() const noexcept
{
    int count = m_count;
    while (count > 1 && m_begin[count - 1] == '0') {
        --count;
    }
    return std::max(count, 1);
}

void ShortDecimal::write(BoundedText & out, std::int64_t from, std::int64_t count) const noexcept
{
    std::int64_t const present = std::min(std::max<std::int64_t>(m_count - from, 0), count);
    if (present != 0) {
        out.put(m_begin + from, static_cast<std::size_t>(present));
    }
    out.fill('0', static_cast<std::size_t>(count - present));
}

} // namespace common::log::trace
