#pragma once

#include <common/log/export.h>
#include <common/log/printf_format.h>

#include <cstdint>

namespace common::log::trace {

/// What kind of output a call of `outputMessageLog` is. The values are the host's to define; the library forwards them.
enum OutputType : std::uint32_t
{
};

/// A hook: user data, kind, printf format, and its arguments by `argumentPointer`, still unread.
using LogHookFunction = void (*)(void volatile * userData, OutputType type, char const * format, char * arguments);

/// The installed hook, null when there is none, and what it gets as its first argument. Set by `setOutputHook`.
extern COMMON_LOG_EXPORT LogHookFunction volatile g_logHookFunc;
extern COMMON_LOG_EXPORT void volatile * volatile g_logUserData;

/// Installs a hook, or removes it with null. The two values are stored one after the other and without a lock: the host
/// sees to it that no other thread is in `outputMessageLog` meanwhile.
COMMON_LOG_EXPORT void setOutputHook(LogHookFunction const function, void volatile * userData);

/// Hands a format and its arguments to the hook, unexpanded, on the calling thread. Does nothing without a hook.
COMMON_LOG_EXPORT void outputMessageLog(OutputType type, char const * format, ...) COMMON_LOG_PRINTF_FORMAT(2, 3);

/// Writes a line to `std::cerr` past all units: a line end, `prefix`, ": ", `functionName` (line `line`): and the text,
/// cut to 199 characters without a report. With line 0 the function and the line are left out.
///
/// Threads  Any number at once, without a lock: lines of concurrent threads can interleave.
COMMON_LOG_EXPORT void outputFunction(char const * prefix, int line, char const * functionName, char const * format,
                                      ...) COMMON_LOG_PRINTF_FORMAT(4, 5);

} // namespace common::log::trace
