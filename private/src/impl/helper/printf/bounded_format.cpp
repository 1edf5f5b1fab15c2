#include "helper/printf/bounded_format.h"

#include "helper/printf/bounded_text.h"
#include "helper/printf/common_form.h"
#include "helper/printf/conversion.h"
#include "helper/printf/decimal_point.h"
#include "helper/printf/floating.h"
#include "helper/printf/integer.h"
#include "helper/printf/text.h"

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace common::log::trace {

namespace {

bool isFloating(char letter)
{
    switch (letter) {
    case 'd':
    case 'u':
    case 'o':
    case 'x':
    case 'X':
    case 'c':
    case 's':
    case 'p':
    case '%':
        return false;
    default:
        return true;
    }
}

// The list is started by who hands it in, which the analyser does not see; and which lengths are the same type depends
// on the platform.
// NOLINTBEGIN(clang-analyzer-valist.Uninitialized, bugprone-branch-clone)

std::int64_t nextSigned(ArgumentLength length, ArgumentList & arguments)
{
    switch (length) {
    case ArgumentLength::hh:
        return static_cast<signed char>(va_arg(arguments.list, int));
    case ArgumentLength::h:
        return static_cast<short>(va_arg(arguments.list, int));
    case ArgumentLength::l:
        return va_arg(arguments.list, long);
    case ArgumentLength::ll:
        return va_arg(arguments.list, long long);
    case ArgumentLength::j:
        return va_arg(arguments.list, std::intmax_t);
    case ArgumentLength::z:
        return va_arg(arguments.list, std::make_signed_t<std::size_t>);
    case ArgumentLength::t:
        return va_arg(arguments.list, std::ptrdiff_t);
    default:
        return va_arg(arguments.list, int);
    }
}

std::uint64_t nextUnsigned(ArgumentLength length, ArgumentList & arguments)
{
    switch (length) {
    case ArgumentLength::hh:
        return static_cast<unsigned char>(va_arg(arguments.list, unsigned int));
    case ArgumentLength::h:
        return static_cast<unsigned short>(va_arg(arguments.list, unsigned int));
    case ArgumentLength::l:
        return va_arg(arguments.list, unsigned long);
    case ArgumentLength::ll:
        return va_arg(arguments.list, unsigned long long);
    case ArgumentLength::j:
        return va_arg(arguments.list, std::uintmax_t);
    case ArgumentLength::z:
        return va_arg(arguments.list, std::size_t);
    case ArgumentLength::t:
        return va_arg(arguments.list, std::make_unsigned_t<std::ptrdiff_t>);
    default:
        return va_arg(arguments.list, unsigned int);
    }
}

/// @return false for a width whose magnitude is above INT_MAX
bool readListed(Conversion & conversion, ArgumentList & arguments)
{
    if (conversion.isWidthListed) {
        conversion.width = va_arg(arguments.list, int);
        if (conversion.width == INT_MIN) {
            return false;
        }
        if (conversion.width < 0) {
            conversion.width = -conversion.width;
            conversion.isLeft = true;
        }
    }
    if (conversion.isPrecisionListed) {
        int const precision = va_arg(arguments.list, int);
        conversion.precision = precision < 0 ? Conversion::kNoPrecision : precision;
    }
    return true;
}

void writeConversion(BoundedText & out, Conversion const & conversion, ArgumentList & arguments)
{
    switch (conversion.letter) {
    case '%':
        out.put('%');
        break; // whatever stands between the two
    case 'c':
        writeCharacter(out, conversion, static_cast<char>(va_arg(arguments.list, int)));
        break;
    case 's':
        writeText(out, conversion, va_arg(arguments.list, char const *));
        break;
    case 'p':
        writePointer(out, conversion, va_arg(arguments.list, void const *));
        break;
    case 'd':
        writeSigned(out, conversion, nextSigned(conversion.length, arguments));
        break;
    case 'u':
    case 'o':
    case 'x':
    case 'X':
        writeUnsigned(out, conversion, nextUnsigned(conversion.length, arguments));
        break;
    default:
        writeFloating(out, conversion, va_arg(arguments.list, double));
        break;
    }
}

/// Whether floating-point numbers are taken; asks once for a format.
class DecimalDot
{
public:
    bool isThere() noexcept { return m_isKnown || (m_isKnown = hasDecimalDot()); }

private:
    bool m_isKnown = false;
};

/// Writes a conversion that is of the common form, if it is.
///
/// @param position  behind the percent sign
/// @return where the format goes on, or null, with nothing written or read
char const * writeCommonForm(BoundedText & out, char const * position, ArgumentList & arguments, DecimalDot & dot)
{
    if (out.room() < kCommonFormRoom) {
        return nullptr;
    }
    if (*position == 'd') {
        out.goOnAt(writeCommonSigned(out.next(), va_arg(arguments.list, int)));
        return position + 1;
    }
    if (*position == 's') {
        char const * const text = va_arg(arguments.list, char const *);
        text != nullptr ? out.put(text, std::strlen(text)) : writeText(out, plainConversion('s'), text);
        return position + 1;
    }
    if (*position != '.' || position[1] < '0' || position[1] > '9' || position[2] != 'f' || !dot.isThere()) {
        return nullptr;
    }
    double const number = va_arg(arguments.list, double);
    auto const places = static_cast<unsigned int>(position[1] - '0');
    char * const end = writeCommonFixed(out.next(), number, places);
    if (end != nullptr) {
        out.goOnAt(end);
    } else {
        Conversion conversion = plainConversion('f');
        conversion.precision = static_cast<int>(places);
        writeFloating(out, conversion, number);
    }
    return position + 3;
}

// NOLINTEND(clang-analyzer-valist.Uninitialized, bugprone-branch-clone)

/// By the C library, which looks at many characters at a time and never behind the end.
char const * endOfText(char const * position)
{
    if (*position == '%' || *position == '\0') {
        return position; // as between two conversions and behind the last one, most of the time
    }
    char const * const end = std::strchr(position, '%');
    return end != nullptr ? end : position + std::strlen(position);
}

/// Writes the text up to the next conversion.
///
/// @return at its percent sign, or at the end of the format
char const * writeLiteral(BoundedText & out, char const * position)
{
    char const * const end = endOfText(position);
    out.put(position, static_cast<std::size_t>(end - position));
    return end;
}

} // namespace

bool BoundedFormat::isTaken() const noexcept
{
    DecimalDot dot;
    for (char const * next = endOfText(m_format); *next != '\0'; next = endOfText(next)) {
        Conversion conversion;
        next = readConversion(next + 1, conversion);
        if (next == nullptr || (isFloating(conversion.letter) && !dot.isThere())) {
            return false;
        }
    }
    return true;
}

bool BoundedFormat::write(char * buffer, std::size_t bufferSize, ArgumentList & arguments, int & length) const noexcept
{
    BoundedText out(buffer, bufferSize);
    DecimalDot dot;
    bool isTooLong = false;
    char const * next = writeLiteral(out, m_format);
    while (*next != '\0' && !isTooLong) {
        char const * behind = writeCommonForm(out, next + 1, arguments, dot);
        if (behind == nullptr) {
            Conversion conversion;
            behind = readConversion(next + 1, conversion);
            if (behind == nullptr || (isFloating(conversion.letter) && !dot.isThere())) {
                return false;
            }
            isTooLong = !readListed(conversion, arguments);
            if (!isTooLong) {
                writeConversion(out, conversion, arguments);
            }
        }
        next = writeLiteral(out, behind);
    }
    out.finish();
    isTooLong = isTooLong || out.length() > INT_MAX;
    if (isTooLong && !isTaken()) {
        return false; // for what stands behind the place where it became too long
    }
    if (isTooLong) {
        errno = EOVERFLOW;
    }
    length = isTooLong ? -1 : static_cast<int>(out.length());
    return true;
}

} // namespace common::log::trace
