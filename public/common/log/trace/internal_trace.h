#pragma once

#include <common/log/export.h>
#include <common/log/snap_name.h>
#include <common/log/trace/enabling_state.h>
#include <common/log/trace/i_log_real_time.h>

namespace common::log::trace {

class LogBuffered;

/// The library's trace of itself. While one exists, what the library has to say about its own work (a cut text, a
/// failed call) goes out under the unit name "common.log.trace"; errors only, at the start.
///
/// Ownership  The host's: constructed before and destroyed after everything else of the library.
/// Threads    Construction and destruction only while no other thread traces. A second object takes over from the
///            first, and the destruction of either one ends the reports.
class COMMON_LOG_EXPORT InternalTrace
{
public:
    InternalTrace();
    InternalTrace(InternalTrace const &) = delete;
    InternalTrace & operator=(InternalTrace const &) = delete;
    virtual ~InternalTrace();

    /// The unit that reports go through; null only during construction.
    ILogRealTime * activeUnit() const { return m_activeUnit; }
    /// Which severities of report are emitted.
    EnablingState const & enablingState() const { return m_enablingState; }
    SnapName const & snapName() const { return m_snapName; }

private:
    ILogRealTime * m_activeUnit;
    EnablingState m_enablingState;
    LogBuffered * m_bufferedUnit;
    SnapName m_snapName;
};

/// The object through which all code of the library reports about itself; null before the first one and after the last.
/// Read without synchronisation by every thread that traces.
extern COMMON_LOG_EXPORT InternalTrace * g_internalTrace;

/// Stores `internalTrace`, which stays the caller's, in `g_internalTrace`.
COMMON_LOG_EXPORT void setInternalTracePointer(InternalTrace * internalTrace);

/// Sets `g_internalTrace` to null, whatever it held.
COMMON_LOG_EXPORT void removeInternalTracePointer();

} // namespace common::log::trace
