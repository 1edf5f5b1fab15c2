#pragma once

#include <common/log/call_site/place.h>
#include <common/log/printf_format.h>
#include <common/log/snap_name.h>
#include <common/log/trace/enabling_state.h>
#include <common/log/trace/log.h>
#include <common/log/trace/main_diagnosis_code.h>

/// What the macros of call_site.h are made of, for those who need a combination that has no name there:
///
///     COMMON_LOG_CALL_SITE_CODE(Error, RealTimeRoad, EveryNth, (100), 0x080F0113, m_unit, "Axis %d lost", number);
///
/// @param severity        Message, Warning or Error
/// @param road            OrdinaryRoad or RealTimeRoad
/// @param limit           a class of limit.h, and in parentheses what its `passes` takes
/// @param code            a constant
#define COMMON_LOG_CALL_SITE(severity, road, limit, limitArguments, unit, ...)                                         \
    COMMON_LOG_CALL_SITE_CODE(severity, road, limit, limitArguments, ::common::log::trace::call_site::severity::kCode, \
                              unit, __VA_ARGS__)

#define COMMON_LOG_CALL_SITE_CODE(severity, road, limit, limitArguments, code, unit, ...)                              \
    do {                                                                                                               \
        using CommonLogSeverity = ::common::log::trace::call_site::severity;                                           \
        static_assert(::common::log::trace::diagnosisClass(code) == CommonLogSeverity::kClass,                         \
                      "the class of the main diagnosis code, its bits 16 to 19, is that of another severity");         \
        auto & commonLogUnit = (unit);                                                                                 \
        if (!(commonLogUnit.getEnablingState().*CommonLogSeverity::kFlag)) {                                           \
            ::common::log::trace::call_site::tellResult(commonLogUnit, CommonLogSeverity::kClass,                      \
                                                        ::common::log::trace::TRACE_DISABLED);                         \
        } else {                                                                                                       \
            static ::common::log::trace::limit commonLogLimit;                                                         \
            if (commonLogLimit.passes limitArguments) {                                                                \
                COMMON_LOG_CALL_PLACE(commonLogPlace, ::common::log::trace::road::kFunctionNameLength);                \
                ::common::log::trace::call_site::send<CommonLogSeverity, ::common::log::trace::road>(                  \
                    commonLogUnit, code, kTraceComponent, commonLogPlace, commonLogLimit,                              \
                    "(%llu held back) " COMMON_LOG_FIRST(__VA_ARGS__), __VA_ARGS__);                                   \
            }                                                                                                          \
            if (false) {                                                                                               \
                ::common::log::checkPrintfFormat(__VA_ARGS__);                                                         \
            }                                                                                                          \
        }                                                                                                              \
    } while (false)

// In two steps, since there are preprocessors that hand __VA_ARGS__ on as a single argument.
#define COMMON_LOG_FIRST(...) COMMON_LOG_EXPAND(COMMON_LOG_FIRST_OF(__VA_ARGS__, ""))
#define COMMON_LOG_FIRST_OF(first, ...) first
#define COMMON_LOG_EXPAND(expanded) expanded

namespace common::log::trace {

/// Told what became of each call of a call site: TRACE_DISABLED where its severity is off, and otherwise the result of
/// the unit. Does nothing for a Log. A class derived from it that wants to know brings an overload for itself in its own
/// namespace, as CountedLog does; the type that `unit` has at the call site decides.
///
/// A call that a limit held back is told of by the next record, not here.
constexpr void callSiteResult(Log const & /*unit*/, DiagnosisClass /*severity*/, TraceResult /*result*/) noexcept {}

namespace call_site {

struct Message
{
    static constexpr DiagnosisClass kClass = CLASS_MESSAGE;
    static constexpr unsigned int kCode = kMessageCode;
    static constexpr bool EnablingState::*kFlag = &EnablingState::messages;
};

struct Warning
{
    static constexpr DiagnosisClass kClass = CLASS_WARNING;
    static constexpr unsigned int kCode = kWarningCode;
    static constexpr bool EnablingState::*kFlag = &EnablingState::warnings;
};

struct Error
{
    static constexpr DiagnosisClass kClass = CLASS_ERROR;
    static constexpr unsigned int kCode = kErrorCode;
    static constexpr bool EnablingState::*kFlag = &EnablingState::errors;
};

template <typename Unit>
void tellResult(Unit & unit, DiagnosisClass severity, TraceResult result)
{
    callSiteResult(unit, severity, result); // unqualified, for the overloads of other namespaces
}

/// Sends a record that passed its limit.
template <typename Severity, typename Road, typename Unit, typename Limit, typename... Arguments>
void send(Unit & unit, unsigned int code, char const * componentName, CallPlace const & place, Limit & limit,
          char const * heldBackFormat, char const * format, Arguments... arguments)
{
    unsigned long long const heldBack = limit.takeHeldBack();
    TraceResult const result =
        heldBack == 0
            ? Road::send(unit, code, componentName, snapNameText(), place, format, arguments...)
            : Road::send(unit, code, componentName, snapNameText(), place, heldBackFormat, heldBack, arguments...);
    if (result != TRACE_OK && result != TRACE_TRUNCATED) {
        limit.notSent(heldBack);
    }
    tellResult(unit, Severity::kClass, result);
}

} // namespace call_site

} // namespace common::log::trace
