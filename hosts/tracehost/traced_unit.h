#pragma once

#include <common/log/printf_format.h>
#include <common/log/trace.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace tracehost {

enum class Severity
{
    message,
    warning,
    error,
};

/// The code that every record of a severity bears.
constexpr unsigned int codeOf(Severity severity) noexcept
{
    return severity == Severity::error ? 0x080F0112U : severity == Severity::warning ? 0x080E0112U : 0x080A0112U;
}

/// The trace calls of the program, by what became of them at the call. What the stream made of the records is the tap's
/// to know; the library's reports about itself are not among these.
struct RecordCounts
{
    std::uint64_t messages = 0;
    std::uint64_t warnings = 0;
    std::uint64_t errors = 0;
    std::uint64_t switchedOff = 0;
    std::uint64_t cut = 0;     ///< bore a shortened text
    std::uint64_t refused = 0; ///< the queue had no room, or the text could not be formatted: no record
};

/// Threads    Any number at once.
/// Real time  Counting is safe.
class RecordAccount
{
public:
    RecordCounts counts() const;
    void count(Severity severity, common::log::trace::TraceResult result);
    void countSwitchedOff() { m_switchedOff.fetch_add(1, std::memory_order_relaxed); }

private:
    std::atomic<std::uint64_t> m_bySeverity[3]{};
    std::atomic<std::uint64_t> m_switchedOff{0};
    std::atomic<std::uint64_t> m_cut{0};
    std::atomic<std::uint64_t> m_refused{0};
};

/// A unit of the library together with what the program says of itself in each of its records. Call it by
/// TRACEHOST_TRACE, or by TRACEHOST_TRACE_REAL_TIME on a thread with a deadline.
class TracedUnit
{
public:
    /// @param componentName  not copied
    TracedUnit(std::string const & unitName, char const * componentName,
               common::log::trace::EnablingState const & state,
               std::shared_ptr<common::log::trace::Handler> const & handler, RecordAccount & account);

    common::log::trace::Log & log() { return m_log; }
    RecordAccount & account() { return m_account; }
    char const * unitName() const { return m_log.getUnitName(); }
    char const * componentName() const { return m_componentName; }
    char const * snapName() const { return m_snapName.getSnapName().c_str(); }
    bool isOn(Severity severity) const;

    /// For the compiler alone, which checks a format against its arguments; never called.
    COMMON_LOG_PRINTF_FORMAT(1, 2) static void checkFormat(char const * format, ...);

private:
    common::log::trace::Log m_log;
    char const * m_componentName;
    common::log::SnapName m_snapName;
    RecordAccount & m_account;
};

} // namespace tracehost

/// Traces by printf format, with the file, the qualified function and the line of the place where this stands. Not in a
/// lambda, which has no name of its own. The arguments are evaluated only where the severity is switched on.
#define TRACEHOST_TRACE(unit, severity, ...)                                                                           \
    do {                                                                                                               \
        if (!(unit).isOn(severity)) {                                                                                  \
            (unit).account().countSwitchedOff();                                                                       \
        } else {                                                                                                       \
            static constexpr ::common::log::FunctionName traceFunction(COMMON_LOG_FUNCTION_SIGNATURE);                 \
            (unit).account().count(severity,                                                                           \
                                   (unit).log().log(::tracehost::codeOf(severity), (unit).componentName(),             \
                                                    (unit).snapName(), ::common::log::fileBaseName(__FILE__),          \
                                                    traceFunction.text(), __LINE__, __VA_ARGS__));                     \
        }                                                                                                              \
    } while (false)

/// The same on the real-time road: queues the record and never waits.
#define TRACEHOST_TRACE_REAL_TIME(unit, severity, recordFormat, ...)                                                   \
    do {                                                                                                               \
        if (!(unit).isOn(severity)) {                                                                                  \
            (unit).account().countSwitchedOff();                                                                       \
        } else {                                                                                                       \
            static constexpr ::common::log::FunctionName traceFunction(COMMON_LOG_FUNCTION_SIGNATURE);                 \
            ::common::log::trace::LogParametersExtended traceParameters;                                               \
            traceParameters.componentName = (unit).componentName();                                                    \
            traceParameters.snapName = (unit).snapName();                                                              \
            traceParameters.fileName = ::common::log::fileBaseName(__FILE__);                                          \
            traceParameters.functionName = traceFunction.text();                                                       \
            traceParameters.line = __LINE__;                                                                           \
            traceParameters.format = recordFormat;                                                                     \
            (unit).account().count(                                                                                    \
                severity, (unit).log().logRealTime(::tracehost::codeOf(severity), traceParameters, __VA_ARGS__));      \
            if (false) {                                                                                               \
                ::tracehost::TracedUnit::checkFormat(recordFormat, __VA_ARGS__);                                       \
            }                                                                                                          \
        }                                                                                                              \
    } while (false)
