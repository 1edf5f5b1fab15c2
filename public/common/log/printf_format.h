#pragma once

/// Lets the compiler check a printf format against its arguments. Positions count from 1, with the object first in a
/// member function.
///
/// The library formats as C says and GNU does on every system, also where the system's own functions do not: there GCC
/// has to be told. Clang knows that form by its plain name alone.
#if defined(__GNUC__) && !defined(__clang__)
#define COMMON_LOG_PRINTF_FORMAT(formatPosition, firstArgument)                                                        \
    __attribute__((format(gnu_printf, formatPosition, firstArgument)))
#elif defined(__clang__)
#define COMMON_LOG_PRINTF_FORMAT(formatPosition, firstArgument)                                                        \
    __attribute__((format(printf, formatPosition, firstArgument)))
#else
#define COMMON_LOG_PRINTF_FORMAT(formatPosition, firstArgument)
#endif

namespace common::log {

/// For a macro whose format goes where no compiler checks it: a call of this, behind an `if (false)`, has it checked.
/// There is no such function.
COMMON_LOG_PRINTF_FORMAT(1, 2) void checkPrintfFormat(char const * format, ...);

} // namespace common::log
