#include "helper/printf/bounded_format.h"

#include "helper/printf/bounded_text.h"
#include "helper/printf/conversion.h"
#include "helper/printf/decimal_point.h"
#include "helper/printf/floating.h"
#include "helper/printf/integer.h"
#include "helper/printf/text.h"

#include <cerrno>
#include <climits>
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

// NOLINTEND(clang-analyzer-valist.Uninitialized, bugprone-branch-clone)

char const * endOfText(char const * position)
{
    while (*position != '%' && *position != '\0') {
        ++position;
    }
    return position;
}

int tooLong(BoundedText & out)
{
    out.finish();
    errno = EOVERFLOW;
    return -1;
}

} // namespace

BoundedFormat::BoundedFormat(char const * format) noexcept : m_format(format), m_isTaken(false)
{
    bool hasFloating = false;
    char const * next = format;
    for (;;) {
        char const * const end = endOfText(next);
        auto const offset = static_cast<std::size_t>(end - format);
        if (m_kept != kKept && offset <= UINT16_MAX) {
            m_textEnds[m_kept++] = static_cast<std::uint16_t>(offset);
        }
        if (*end == '\0') {
            break;
        }
        Conversion conversion;
        next = readConversion(end + 1, conversion);
        if (next == nullptr) {
            return;
        }
        hasFloating = hasFloating || isFloating(conversion.letter);
    }
    m_isTaken = !hasFloating || hasDecimalDot();
}

int BoundedFormat::write(char * buffer, std::size_t bufferSize, ArgumentList & arguments) const noexcept
{
    BoundedText out(buffer, bufferSize);
    char const * next = m_format;
    for (unsigned int i = 0;; ++i) {
        char const * const end = i < m_kept ? m_format + m_textEnds[i] : endOfText(next);
        out.put(next, static_cast<std::size_t>(end - next));
        if (*end == '\0') {
            break;
        }
        Conversion conversion;
        next = readConversion(end + 1, conversion);
        if (!readListed(conversion, arguments)) {
            return tooLong(out);
        }
        writeConversion(out, conversion, arguments);
    }
    out.finish();
    return out.length() > INT_MAX ? tooLong(out) : static_cast<int>(out.length());
}

} // namespace common::log::trace
