#include "helper/printf/integer.h"

#include "helper/printf/digits.h"
#include "helper/printf/field.h"
#include "helper/printf/text.h"

namespace common::log::trace {

namespace {

constexpr unsigned int kMaximalDigits = 22; // of 64 bits to the base 8

char * writeBinaryDigitsInFrontOf(char * end, std::uint64_t number, unsigned int bitsOfDigit, bool isUpperCase)
{
    char const * const digits = isUpperCase ? "0123456789ABCDEF" : "0123456789abcdef";
    for (; number != 0; number >>= bitsOfDigit) {
        *--end = digits[number & ((1U << bitsOfDigit) - 1)];
    }
    return end;
}

void writeNumber(BoundedText & out, Conversion const & conversion, NumberPrefix const & prefix, char const * begin,
                 char const * end)
{
    auto const digits = static_cast<std::uint64_t>(end - begin);
    bool const hasPrecision = conversion.precision != Conversion::kNoPrecision;
    std::uint64_t const wanted = hasPrecision ? static_cast<std::uint64_t>(conversion.precision) : 1;
    std::uint64_t const zeros = wanted > digits ? wanted - digits : 0;
    std::uint64_t const behind =
        beginField(out, conversion, prefix, zeros + digits, conversion.isZeroPadded && !hasPrecision);
    if (zeros != 0) {
        out.fill('0', zeros);
    }
    out.put(begin, digits);
    out.fill(' ', behind);
}

} // namespace

void writeSigned(BoundedText & out, Conversion const & conversion, std::int64_t number) noexcept
{
    char digits[kMaximalDigits];
    char * const end = digits + sizeof digits;
    auto const bits = static_cast<std::uint64_t>(number);
    NumberPrefix prefix;
    prefix.putSign(conversion, number < 0);
    writeNumber(out, conversion, prefix, writeDigitsInFrontOf(end, number < 0 ? 0 - bits : bits), end);
}

void writeUnsigned(BoundedText & out, Conversion const & conversion, std::uint64_t number) noexcept
{
    char digits[kMaximalDigits + 1]; // with the zero that marks the base 8
    char * const end = digits + sizeof digits;
    NumberPrefix prefix;
    char * begin = nullptr;
    switch (conversion.letter) {
    case 'u':
        begin = writeDigitsInFrontOf(end, number);
        break;
    case 'o':
        begin = writeBinaryDigitsInFrontOf(end, number, 3, false);
        if (conversion.isAlternate) {
            *--begin = '0'; // counts as a digit, so that a precision can make up for it
        }
        break;
    default:
        begin = writeBinaryDigitsInFrontOf(end, number, 4, conversion.isUpperCase());
        if (conversion.isAlternate && number != 0) {
            prefix.put('0');
            prefix.put(conversion.letter);
        }
        break;
    }
    writeNumber(out, conversion, prefix, begin, end);
}

void writePointer(BoundedText & out, Conversion const & conversion, void const * pointer) noexcept
{
    if (pointer == nullptr) {
        Conversion whole = conversion;
        whole.precision = Conversion::kNoPrecision;
        writeText(out, whole, "(nil)");
        return;
    }
    char digits[kMaximalDigits];
    char * const end = digits + sizeof digits;
    NumberPrefix prefix;
    prefix.putSign(conversion, false);
    prefix.put('0');
    prefix.put('x');
    char const * const begin = writeBinaryDigitsInFrontOf(end, reinterpret_cast<std::uintptr_t>(pointer), 4, false);
    writeNumber(out, conversion, prefix, begin, end);
}

} // namespace common::log::trace
