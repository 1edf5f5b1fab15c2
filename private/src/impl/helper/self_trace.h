#pragma once

#include <common/log/file_base_name.h>
#include <common/log/function_name.h>
#include <common/log/printf_format.h>
#include <common/log/trace/internal_trace.h>

/// The one idiom by which code of the library reports about itself: SELF_TRACE_ERROR(format, arguments...), and the
/// same for a warning and a message.
///
/// Three reads decide whether the report goes out. Only then are the arguments evaluated, and its result is ignored.
/// The format is checked against its arguments by the compiler; both stand in the caller's own function, whose name and
/// line the report bears.
///
/// Threads    From any thread, with or without locks held: takes none itself.
/// Real time  Switched off it costs the three reads. Switched on it builds no text and allocates nothing, and costs
///            what the active unit costs.
#define SELF_TRACE_ERROR(...) COMMON_LOG_SELF_TRACE(errors, kErrorCode, __VA_ARGS__)
#define SELF_TRACE_WARNING(...) COMMON_LOG_SELF_TRACE(warnings, kWarningCode, __VA_ARGS__)
#define SELF_TRACE_MESSAGE(...) COMMON_LOG_SELF_TRACE(messages, kMessageCode, __VA_ARGS__)

#define COMMON_LOG_SELF_TRACE(flag, code, ...)                                                                         \
    do {                                                                                                               \
        if (::common::log::trace::g_internalTrace != nullptr &&                                                        \
            ::common::log::trace::g_internalTrace->activeUnit() != nullptr &&                                          \
            ::common::log::trace::g_internalTrace->enablingState().flag) {                                             \
            static constexpr ::common::log::FunctionName selfTraceFunction(COMMON_LOG_FUNCTION_SIGNATURE);             \
            ::common::log::trace::sendSelfTrace(::common::log::trace::code, __FILE__, selfTraceFunction.text(),        \
                                                __LINE__, __VA_ARGS__);                                                \
            if (false) {                                                                                               \
                ::common::log::trace::checkSelfTraceFormat(__VA_ARGS__);                                               \
            }                                                                                                          \
        }                                                                                                              \
    } while (false)

namespace common::log::trace {

/// The codes of the library's own records. That of an error also stands in for an invalid code.
constexpr unsigned int kErrorCode = 0x080F0112;
constexpr unsigned int kWarningCode = 0x080E0112;
constexpr unsigned int kMessageCode = 0x080A0112;

/// What the library's own records say of themselves.
constexpr char const * kComponentName = "trace";
constexpr char const * kUnitName = "common.log.trace";

/// For the compiler alone, which checks the call; never called.
COMMON_LOG_PRINTF_FORMAT(1, 2) void checkSelfTraceFormat(char const * format, ...);

/// A report that is being sent on this thread.
///
/// A report can be cut itself, which is reported in its turn. Two may stand inside one another; the third is not sent,
/// and that ends what would otherwise go on until the stack is used up.
class SelfTraceNesting
{
public:
    SelfTraceNesting() noexcept;
    SelfTraceNesting(SelfTraceNesting const &) = delete;
    SelfTraceNesting & operator=(SelfTraceNesting const &) = delete;
    ~SelfTraceNesting();

    bool isTooDeep() const noexcept { return m_isTooDeep; }

private:
    bool m_isTooDeep;
};

template <typename... Arguments>
void sendSelfTrace(unsigned int code, char const * sourcePath, char const * functionName, unsigned int line,
                   char const * format, Arguments... arguments)
{
    SelfTraceNesting const nesting;
    if (nesting.isTooDeep()) {
        return;
    }
    LogParametersExtended parameters;
    parameters.componentName = kComponentName;
    parameters.snapName = g_internalTrace->snapName().getSnapName().c_str();
    parameters.fileName = fileBaseName(sourcePath);
    parameters.functionName = functionName;
    parameters.line = line;
    parameters.format = format;
    (void)g_internalTrace->activeUnit()->logRealTime(code, parameters, arguments...); // nobody is left to tell
}

} // namespace common::log::trace
