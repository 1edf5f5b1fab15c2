#include "helper/printf/exact_decimal.h"

#include "helper/printf/digits.h"

#include <algorithm>

namespace common::log::trace {

namespace {

constexpr int kDigits = 9; // of a block
constexpr std::uint32_t kBase = 1'000'000'000;

constexpr int kWordBits = 32;
constexpr int kWholeWords = 32;    // 1024 bits
constexpr int kFractionWords = 34; // 1074 bits

/// Adds a mantissa, shifted to the left, to words that are 0, of which the first one is the lowest.
void setBits(std::uint32_t * words, std::uint64_t mantissa, int shift)
{
    words += shift / kWordBits;
    shift %= kWordBits;
    std::uint64_t const low = (mantissa & 0xFFFFFFFF) << shift;
    std::uint64_t const high = ((mantissa >> kWordBits) << shift) + (low >> kWordBits);
    words[0] = static_cast<std::uint32_t>(low);
    if (high != 0) {
        words[1] = static_cast<std::uint32_t>(high);
        if (high >> kWordBits != 0) {
            words[2] = static_cast<std::uint32_t>(high >> kWordBits);
        }
    }
}

} // namespace

ExactDecimal::ExactDecimal(BinaryNumber number) noexcept
{
    m_blocks[0] = 0;
    if (number.exponent >= 0) {
        addWhole(number);
        return;
    }
    int const bits = -number.exponent;
    std::uint64_t const whole = bits < 64 ? number.mantissa >> bits : 0;
    addWhole({whole, 0});
    addFraction(bits < 64 ? number.mantissa - (whole << bits) : number.mantissa, bits);
}

/// Division by the base gives the lowest block first.
void ExactDecimal::addWhole(BinaryNumber number) noexcept
{
    std::uint32_t words[kWholeWords] = {};
    setBits(words, number.mantissa, number.exponent);
    int used = kWholeWords;
    int const first = m_count;
    for (;;) {
        while (used != 0 && words[used - 1] == 0) {
            --used;
        }
        if (used == 0) {
            break;
        }
        std::uint64_t rest = 0;
        for (int i = used; i-- != 0;) {
            rest = (rest << kWordBits) + words[i];
            words[i] = static_cast<std::uint32_t>(rest / kBase);
            rest %= kBase;
        }
        m_blocks[m_count++] = static_cast<std::uint32_t>(rest);
    }
    std::reverse(m_blocks + first, m_blocks + m_count);
    m_wholeBlocks = m_count;
}

/// Multiplication by the base gives the highest block first, and makes the lowest word 0 from time to time.
void ExactDecimal::addFraction(std::uint64_t mantissa, int bits) noexcept
{
    std::uint32_t words[kFractionWords] = {};
    int const count = (bits + kWordBits - 1) / kWordBits;
    setBits(words, mantissa, count * kWordBits - bits);
    int lowest = 0;
    for (;;) {
        while (lowest != count && words[lowest] == 0) {
            ++lowest;
        }
        if (lowest == count) {
            break;
        }
        std::uint64_t carry = 0;
        for (int i = lowest; i != count; ++i) {
            carry += std::uint64_t{words[i]} * kBase;
            words[i] = static_cast<std::uint32_t>(carry);
            carry >>= kWordBits;
        }
        addBlock(static_cast<std::uint32_t>(carry));
    }
}

void ExactDecimal::addBlock(std::uint32_t block) noexcept
{
    if (block == 0 && m_count == 1) {
        --m_wholeBlocks; // nothing but zeros up to here
        return;
    }
    m_blocks[m_count++] = block;
}

void ExactDecimal::setZero() noexcept
{
    m_blocks[0] = 0;
    m_count = 1;
    m_wholeBlocks = 1;
}

int ExactDecimal::firstDigit() const noexcept
{
    int block = 0;
    while (block != m_count && m_blocks[block] == 0) {
        ++block;
    }
    if (block == m_count) {
        return m_wholeBlocks * kDigits - 1; // of the number 0, that in front of the point
    }
    int digit = kDigits - 1;
    while (m_blocks[block] >= kPowersOfTen[static_cast<std::size_t>(kDigits - digit)]) {
        --digit;
    }
    return block * kDigits + digit;
}

std::int64_t ExactDecimal::exponent() const noexcept { return m_wholeBlocks * kDigits - 1 - firstDigit(); }

void ExactDecimal::roundToPlaces(std::int64_t places) noexcept
{
    std::int64_t const last = m_wholeBlocks * kDigits - 1 + places; // the digit that becomes the last one
    if (last >= m_count * kDigits - 1) {
        return;
    }
    if (last < 0) { // in front of the block that is 0, so that the number is less than a tenth of that digit
        setZero();
        return;
    }
    int const block = static_cast<int>(last) / kDigits;
    auto const unit = static_cast<std::uint32_t>(
        kPowersOfTen[static_cast<std::size_t>(kDigits - 1 - static_cast<int>(last) % kDigits)]);
    bool const isWholeBlock = unit == 1;
    std::uint32_t const rest = isWholeBlock ? m_blocks[block + 1] : m_blocks[block] % unit;
    std::uint32_t const half = (isWholeBlock ? kBase : unit) / 2;
    bool const isMore = std::any_of(m_blocks + block + (isWholeBlock ? 2 : 1), m_blocks + m_count,
                                    [](std::uint32_t lower) { return lower != 0; });
    bool const isOdd = m_blocks[block] / unit % 2 != 0;
    m_blocks[block] -= m_blocks[block] % unit;
    m_count = block + 1;
    if (rest < half || (rest == half && !isMore && !isOdd)) {
        if (std::all_of(m_blocks, m_blocks + m_count, [](std::uint32_t kept) { return kept == 0; })) {
            setZero();
        }
        return;
    }
    m_blocks[block] += unit;
    for (int i = block; m_blocks[i] == kBase; --i) {
        m_blocks[i] = 0;
        ++m_blocks[i - 1];
    }
}

std::int64_t ExactDecimal::significant() const noexcept
{
    int block = m_count - 1;
    while (block > 0 && m_blocks[block] == 0) {
        --block;
    }
    int last = block * kDigits + kDigits - 1;
    for (std::uint32_t rest = m_blocks[block]; rest != 0 && rest % 10 == 0; rest /= 10) {
        --last;
    }
    return std::max(last - firstDigit() + 1, 1);
}

void ExactDecimal::write(BoundedText & out, std::int64_t from, std::int64_t count) const noexcept
{
    int next = firstDigit() + static_cast<int>(from);
    while (count != 0 && next < m_count * kDigits) {
        char text[kDigits];
        std::uint32_t rest = m_blocks[next / kDigits];
        for (int i = kDigits; i-- != 0; rest /= 10) {
            text[i] = static_cast<char>('0' + rest % 10);
        }
        int const skipped = next % kDigits;
        auto const written = static_cast<int>(std::min<std::int64_t>(count, kDigits - skipped));
        out.put(text + skipped, static_cast<std::size_t>(written));
        next += written;
        count -= written;
    }
    out.fill('0', static_cast<std::size_t>(count));
}

} // namespace common::log::trace
