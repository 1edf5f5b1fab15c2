#pragma once

#include <common/log/trace.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
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

/// The trace calls of the program, by what became of them. The library's reports about itself, such as the one for each
/// cut text, are not among them.
struct RecordCounts
{
    std::uint64_t messages = 0;
    std::uint64_t warnings = 0;
    std::uint64_t errors = 0;
    std::uint64_t switchedOff = 0;
    std::uint64_t cut = 0;  ///< bore a shortened text
    std::uint64_t lost = 0; ///< the stream took not all of the record, or the text could not be formatted

    std::uint64_t calls() const { return messages + warnings + errors + switchedOff; }
    std::uint64_t written() const { return messages + warnings + errors - lost; }
};

/// Owns the error stream on behalf of all units, and counts what goes there.
///
/// Threads  Any number at once; one record at a time, so that no two of them interleave and a loss is counted to the
///          record that met it.
class RecordAccount
{
public:
    RecordCounts counts() const;
    void countSwitchedOff() { m_switchedOff.fetch_add(1, std::memory_order_relaxed); }

private:
    friend class TraceCall;

    std::mutex m_streamMutex;
    std::atomic<std::uint64_t> m_bySeverity[3]{};
    std::atomic<std::uint64_t> m_switchedOff{0};
    std::atomic<std::uint64_t> m_cut{0};
    std::atomic<std::uint64_t> m_lost{0};
};

/// A unit of the library together with what the program says of itself in each of its records. Call it by
/// TRACEHOST_TRACE.
class TracedUnit
{
public:
    /// @param componentName  not copied
    TracedUnit(std::string const & unitName, char const * componentName,
               common::log::trace::EnablingState const & state, RecordAccount & account);

    common::log::trace::Log & log() { return m_log; }
    RecordAccount & account() { return m_account; }
    char const * unitName() const { return m_log.getUnitName(); }
    char const * componentName() const { return m_componentName; }
    char const * snapName() const { return m_snapName.getSnapName().c_str(); }
    bool isOn(Severity severity) const;

private:
    common::log::trace::Log m_log;
    char const * m_componentName;
    common::log::SnapName m_snapName;
    RecordAccount & m_account;
};

/// One record on its way out. Holds the stream while it lives.
class TraceCall
{
public:
    TraceCall(RecordAccount & account, Severity severity)
        : m_account(account), m_lock(account.m_streamMutex), m_severity(severity)
    {}

    void done(common::log::trace::TraceResult result);

private:
    RecordAccount & m_account;
    std::lock_guard<std::mutex> m_lock;
    Severity m_severity;
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
            ::tracehost::TraceCall traceCall((unit).account(), severity);                                              \
            traceCall.done((unit).log().log(::tracehost::codeOf(severity), (unit).componentName(), (unit).snapName(),  \
                                            ::common::log::fileBaseName(__FILE__), traceFunction.text(), __LINE__,     \
                                            __VA_ARGS__));                                                             \
        }                                                                                                              \
    } while (false)
