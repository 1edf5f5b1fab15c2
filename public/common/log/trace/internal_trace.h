#pragma once

#include <common/log/export.h>
#include <common/log/snap_name.h>
#include <common/log/trace/enabling_state.h>
#include <common/log/trace/i_log_real_time.h>

#include <memory>

namespace common::log::trace {

class Handler;
class LogBuffered;
class Manager;

/// The library's trace of itself. While one exists, what the library has to say about its own work (a cut text, a
/// failed call) goes out under the unit name "common.log.trace"; errors only, at the start.
///
/// At first reports are written by the calling thread, whatever it is. With `addTraceUnit` they go through a unit of
/// that name, which is registered, switched and saved like any other one.
///
/// Ownership  The host's: constructed before and destroyed after everything else of the library.
/// Threads    Every operation only while no other thread traces. A second object takes over from the first, and the
///            destruction of either one ends the reports.
/// Errors     What fails is reported and has no result.
class COMMON_LOG_EXPORT InternalTrace
{
public:
    InternalTrace();
    InternalTrace(InternalTrace const &) = delete;
    InternalTrace & operator=(InternalTrace const &) = delete;
    virtual ~InternalTrace();

    /// Registers the library's own unit at `manager`, which must not be empty, with the flags of now as its states.
    /// Reports go through it and `handler` from then on, by the flags that it is switched to.
    ///
    /// Where that fails, reports go on as before, and whatever `manager` holds under the unit's name is taken out. A
    /// second call ends so: the unit of the first one goes on, but can no longer be switched.
    void addTraceUnit(std::shared_ptr<Manager> const & manager, std::shared_ptr<Handler> const & handler);

    /// Takes the library's own unit out again and destroys it; reports are written by the calling thread again, by the
    /// flags as they are. Does nothing where none was added. An empty `manager` is reported, and the unit stays: to be
    /// called before this object is destroyed, which leaves the unit behind.
    void removeTraceUnit(std::shared_ptr<Manager> const & manager);

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
