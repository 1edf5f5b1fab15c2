#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace common::log::trace {

/// A list that can be passed on by reference on every platform.
struct ArgumentList
{
    std::va_list list;
};

/// A format that is looked over as a whole before an argument is read. Not taken are
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
    explicit BoundedFormat(char const * format) noexcept;

    bool isTaken() const noexcept { return m_isTaken; }

    /// Only for a format that is taken.
    ///
    /// @return the length that the whole text would have had; above INT_MAX a negative number, with EOVERFLOW
    int write(char * buffer, std::size_t bufferSize, ArgumentList & arguments) const noexcept;

private:
    /// How many texts between conversions are not searched for their end once more.
    static constexpr unsigned int kKept = 6;

    char const * m_format;
    bool m_isTaken;
    unsigned int m_kept = 0;
    std::uint16_t m_textEnds[kKept]; // offsets of percent signs, and of the end
};

} // namespace common::log::trace
