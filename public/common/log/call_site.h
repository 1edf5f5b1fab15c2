#pragma once

#include <common/log/call_site/limit.h>
#include <common/log/call_site/road.h>
#include <common/log/call_site/statement.h>

/// Trace calls of one line. COMMON_LOG_WARNING(unit, format, arguments...) traces a warning through `unit`, a Log or
/// what is derived from one, and fills in all that a record says of its origin: component, snap, file, function, line.
///
///     constexpr char const * kTraceComponent = "axis"; // once for a file, a namespace, or as static member for a class
///     ...
///     COMMON_LOG_WARNING(m_unit, "Axis %d is %.3f mm off", number, deviation);
///
/// | macro                                                | goes out                                                |
/// |------------------------------------------------------|---------------------------------------------------------|
/// | COMMON_LOG_WARNING(unit, format, ...)                | each time, with the code 0x080E0112                     |
/// | COMMON_LOG_WARNING_CODE(unit, code, format, ...)     | with a constant code of one's own, of the class 0xE     |
/// | COMMON_LOG_WARNING_EVERY_N(unit, n, format, ...)     | the first time and then every n-th                      |
/// | COMMON_LOG_WARNING_EVERY(unit, milliseconds, format, ...) | the first time, and later once in each such period |
/// | COMMON_LOG_WARNING_ONCE(unit, format, ...)           | the first time                                          |
///
/// Each stands also for MESSAGE and ERROR, and each of those also for the real-time road, with _REAL_TIME behind the
/// severity: COMMON_LOG_WARNING_REAL_TIME_ONCE. A limit and a code of one's own combine by COMMON_LOG_CALL_SITE, of which
/// all of them are made, see call_site/statement.h.
///
/// Component  The constant `kTraceComponent`, the nearest one that the call site sees: of its class, its namespace, its
///            file. Without one the call does not compile.
/// Snap       `snapNameText()`.
/// Function   Its qualified name, see FunctionName. On the real-time road, which has room for 63 characters, a longer
///            one loses its outermost namespaces.
/// Format     A literal, which the compiler checks against its arguments. The code's class is checked as well.
/// Arguments  Evaluated once and only for a record that goes out; `unit` once, a limit only where the severity is on.
/// Held back  Of calls that a limit held back the next record tells, ahead of its text, where no cut reaches it:
///            "(12 held back) Axis 3 is 0.125 mm off". A refused record tells nobody: the number goes to the next one.
///            Calls of a severity that is switched off do not count. Each place in the sources is a site with a limit of
///            its own, in a template each instance.
/// Result     `callSiteResult(unit, severity, result)`, see there.
/// Threads    Any number at once.
/// Real time  Switched off, a call costs a load and a branch. What is on costs what the unit's operation does;
///            COMMON_LOG_..._REAL_TIME... adds neither allocation nor lock nor a system call.
///
/// A statement, not an expression. It cannot stand in a constexpr function.
#define COMMON_LOG_MESSAGE(unit, ...) COMMON_LOG_CALL_SITE(Message, OrdinaryRoad, NoLimit, (), unit, __VA_ARGS__)
#define COMMON_LOG_MESSAGE_CODE(unit, code, ...)                                                                       \
    COMMON_LOG_CALL_SITE_CODE(Message, OrdinaryRoad, NoLimit, (), code, unit, __VA_ARGS__)
#define COMMON_LOG_MESSAGE_EVERY_N(unit, n, ...)                                                                       \
    COMMON_LOG_CALL_SITE(Message, OrdinaryRoad, EveryNth, (n), unit, __VA_ARGS__)
#define COMMON_LOG_MESSAGE_EVERY(unit, milliseconds, ...)                                                              \
    COMMON_LOG_CALL_SITE(Message, OrdinaryRoad, AtMostEvery, (milliseconds), unit, __VA_ARGS__)
#define COMMON_LOG_MESSAGE_ONCE(unit, ...) COMMON_LOG_CALL_SITE(Message, OrdinaryRoad, OnlyOnce, (), unit, __VA_ARGS__)
#define COMMON_LOG_MESSAGE_REAL_TIME(unit, ...)                                                                        \
    COMMON_LOG_CALL_SITE(Message, RealTimeRoad, NoLimit, (), unit, __VA_ARGS__)
#define COMMON_LOG_MESSAGE_REAL_TIME_CODE(unit, code, ...)                                                             \
    COMMON_LOG_CALL_SITE_CODE(Message, RealTimeRoad, NoLimit, (), code, unit, __VA_ARGS__)
#define COMMON_LOG_MESSAGE_REAL_TIME_EVERY_N(unit, n, ...)                                                             \
    COMMON_LOG_CALL_SITE(Message, RealTimeRoad, EveryNth, (n), unit, __VA_ARGS__)
#define COMMON_LOG_MESSAGE_REAL_TIME_EVERY(unit, milliseconds, ...)                                                    \
    COMMON_LOG_CALL_SITE(Message, RealTimeRoad, AtMostEvery, (milliseconds), unit, __VA_ARGS__)
#define COMMON_LOG_MESSAGE_REAL_TIME_ONCE(unit, ...)                                                                   \
    COMMON_LOG_CALL_SITE(Message, RealTimeRoad, OnlyOnce, (), unit, __VA_ARGS__)

#define COMMON_LOG_WARNING(unit, ...) COMMON_LOG_CALL_SITE(Warning, OrdinaryRoad, NoLimit, (), unit, __VA_ARGS__)
#define COMMON_LOG_WARNING_CODE(unit, code, ...)                                                                       \
    COMMON_LOG_CALL_SITE_CODE(Warning, OrdinaryRoad, NoLimit, (), code, unit, __VA_ARGS__)
#define COMMON_LOG_WARNING_EVERY_N(unit, n, ...)                                                                       \
    COMMON_LOG_CALL_SITE(Warning, OrdinaryRoad, EveryNth, (n), unit, __VA_ARGS__)
#define COMMON_LOG_WARNING_EVERY(unit, milliseconds, ...)                                                              \
    COMMON_LOG_CALL_SITE(Warning, OrdinaryRoad, AtMostEvery, (milliseconds), unit, __VA_ARGS__)
#define COMMON_LOG_WARNING_ONCE(unit, ...) COMMON_LOG_CALL_SITE(Warning, OrdinaryRoad, OnlyOnce, (), unit, __VA_ARGS__)
#define COMMON_LOG_WARNING_REAL_TIME(unit, ...)                                                                        \
    COMMON_LOG_CALL_SITE(Warning, RealTimeRoad, NoLimit, (), unit, __VA_ARGS__)
#define COMMON_LOG_WARNING_REAL_TIME_CODE(unit, code, ...)                                                             \
    COMMON_LOG_CALL_SITE_CODE(Warning, RealTimeRoad, NoLimit, (), code, unit, __VA_ARGS__)
#define COMMON_LOG_WARNING_REAL_TIME_EVERY_N(unit, n, ...)                                                             \
    COMMON_LOG_CALL_SITE(Warning, RealTimeRoad, EveryNth, (n), unit, __VA_ARGS__)
#define COMMON_LOG_WARNING_REAL_TIME_EVERY(unit, milliseconds, ...)                                                    \
    COMMON_LOG_CALL_SITE(Warning, RealTimeRoad, AtMostEvery, (milliseconds), unit, __VA_ARGS__)
#define COMMON_LOG_WARNING_REAL_TIME_ONCE(unit, ...)                                                                   \
    COMMON_LOG_CALL_SITE(Warning, RealTimeRoad, OnlyOnce, (), unit, __VA_ARGS__)

#define COMMON_LOG_ERROR(unit, ...) COMMON_LOG_CALL_SITE(Error, OrdinaryRoad, NoLimit, (), unit, __VA_ARGS__)
#define COMMON_LOG_ERROR_CODE(unit, code, ...)                                                                         \
    COMMON_LOG_CALL_SITE_CODE(Error, OrdinaryRoad, NoLimit, (), code, unit, __VA_ARGS__)
#define COMMON_LOG_ERROR_EVERY_N(unit, n, ...)                                                                         \
    COMMON_LOG_CALL_SITE(Error, OrdinaryRoad, EveryNth, (n), unit, __VA_ARGS__)
#define COMMON_LOG_ERROR_EVERY(unit, milliseconds, ...)                                                                \
    COMMON_LOG_CALL_SITE(Error, OrdinaryRoad, AtMostEvery, (milliseconds), unit, __VA_ARGS__)
#define COMMON_LOG_ERROR_ONCE(unit, ...) COMMON_LOG_CALL_SITE(Error, OrdinaryRoad, OnlyOnce, (), unit, __VA_ARGS__)
#define COMMON_LOG_ERROR_REAL_TIME(unit, ...) COMMON_LOG_CALL_SITE(Error, RealTimeRoad, NoLimit, (), unit, __VA_ARGS__)
#define COMMON_LOG_ERROR_REAL_TIME_CODE(unit, code, ...)                                                               \
    COMMON_LOG_CALL_SITE_CODE(Error, RealTimeRoad, NoLimit, (), code, unit, __VA_ARGS__)
#define COMMON_LOG_ERROR_REAL_TIME_EVERY_N(unit, n, ...)                                                               \
    COMMON_LOG_CALL_SITE(Error, RealTimeRoad, EveryNth, (n), unit, __VA_ARGS__)
#define COMMON_LOG_ERROR_REAL_TIME_EVERY(unit, milliseconds, ...)                                                      \
    COMMON_LOG_CALL_SITE(Error, RealTimeRoad, AtMostEvery, (milliseconds), unit, __VA_ARGS__)
#define COMMON_LOG_ERROR_REAL_TIME_ONCE(unit, ...)                                                                     \
    COMMON_LOG_CALL_SITE(Error, RealTimeRoad, OnlyOnce, (), unit, __VA_ARGS__)
