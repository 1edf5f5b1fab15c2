#pragma once

#include <cstdarg>
#include <cstddef>

namespace common::log::trace {

/// A list that can be passed on by reference on every platform.
struct ArgumentList
{
    std::va_list list;
};

/// A format, and the text that it makes of arguments, in one walk. Not taken are
///  - the letters n and m, and all others that the C standard does not know;
///  - wide characters and texts (lc, ls, C, S), and `long double` (L);
///  - arguments by position (1$), and the flags ' and I;
///  - a length on a letter that has none in the C standard, but for l on a floating-point number;
///  - numbers above INT_MAX for width or precision, and a percent sign at the end;
///  - floating-point numbers, while the locale of the thread has another decimal point than a dot.
/// All others print the same in every locale, and byte by byte what the C library of GNU prints, where numbers are
/// rounded to nearest.
///
/// Ownership  Refers to the format, which must not change meanwhile.
/// Threads    Any number at once.
/// Real time  Safe: no allocation, no lock, no system call, less than 1 KiB of stack; and time that is bounded by the
///            format and the texts among the arguments, whatever widths and precisions are.
class BoundedFormat
{
public:
    explicit BoundedFormat(char const * format) noexcept : m_format(format) {}

    /// Whether all of the format is taken. `write` finds out by itself.
    bool isTaken() const noexcept;

    /// @param length  the length that the whole text would have had; above INT_MAX -1, with EOVERFLOW
    /// @return false for a format that is not taken: what stands in front of that is written and read then, and `length`
    ///         is as it was
    bool write(char * buffer, std::size_t bufferSize, ArgumentList & arguments, int & length) const noexcept;

private:
    char const * m_format;
};

} // namespace common::log::trace
