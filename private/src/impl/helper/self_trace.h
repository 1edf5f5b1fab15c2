#pragma once

#include <common/log/call_site/place.h>
#include <common/log/call_site/road.h>
#include <common/log/printf_format.h>
#include <common/log/trace/internal_trace.h>
#include <common/log/trace/main_diagnosis_code.h>

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
            COMMON_LOG_CALL_PLACE(selfTracePlace, ::common::log::kAnyLength);                                          \
            ::common::log::trace::sendSelfTrace(::common::log::trace::code, selfTracePlace, __VA_ARGS__);              \
            if (false) {                                                                                               \
                ::common::log::checkPrintfFormat(__VA_ARGS__);                                                         \
            }                                                                                                          \
        }                                                                                                              \
    } while (false)

namespace common::log::trace {

/// What the library's own records say of themselves.
constexpr char const * kComponentName = "trace";
constexpr char const * kUnitName = "common.log.trace";

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
void sendSelfTrace(unsigned int code, CallPlace const & place, char const * format, Arguments... arguments)
{
    SelfTraceNesting const nesting;
    if (nesting.isTooDeep()) {
        return;
    }
    (void)RealTimeRoad::send(*g_internalTrace->activeUnit(), code, kComponentName,
                             g_internalTrace->snapName().getSnapName().c_str(), place, format,
                             arguments...); // nobody is left to tell
}

} // namespace common::log::trace
