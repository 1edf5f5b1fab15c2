#pragma once

#include <common/log/export.h>
#include <common/log/snap_name.h>
#include <common/log/trace/enabling_state.h>
#include <common/log/trace/inherit_mutex.h>
#include <common/log/trace/persistence_phase.h>
#include <common/log/trace/trace_result.h>

#include <string>
#include <unordered_map>

/// The component of the host that stores enabling states.
struct PersistenceHelperItf;

namespace comm::nodebus {

class Variant;

} // namespace comm::nodebus

namespace common::log::trace {

class Log;

/// The table of a host's trace units, by name. What is registered here can be switched by name, from outside, and by
/// saved states. A host has one, shared with whoever switches.
///
/// Names are compared byte by byte. A name is free as long as it is not registered itself, no dotted ancestor of it is,
/// and it is none of a registered one: beside "axis.control", neither "axis" nor "axis.control.x" can stand.
///
/// Ownership  Keeps plain pointers: whoever registers a unit removes it again before the unit dies. The destructor
///            leaves the units as they are.
/// Threads    Any number at once, but for the two setters of the configuration. One lock guards the table. It is held
///            while a unit's callback runs, so that a callback must not call an operation of its Manager.
/// Real time  None of it: the lock may have to be waited for. Trace calls of the units do not take it.
/// Errors     By TraceResult, each with a report of the library about itself. A failed lock and an exhausted heap pass
///            through as exceptions; the table then is as it was before.
class COMMON_LOG_EXPORT Manager
{
public:
    Manager();
    Manager(Manager const &) = delete;
    Manager & operator=(Manager const &) = delete;
    virtual ~Manager();

    /// Registers `unit` under its own name. `state` becomes its default state, and its current one as well where no
    /// state is saved for it; a saved state wins. That it cannot be read is reported and fails nothing. The unit can be
    /// seen in the table a little before its states are in place.
    ///
    /// @return TRACE_OK; TRACE_INVALID_ARGUMENT for null; TRACE_ALREADY_REGISTERED; TRACE_INVALID_UNIT_NAME where an
    ///         ancestor or a descendant is registered. What is refused changes neither the table nor the unit.
    TraceResult addTraceUnit(Log * unit, EnablingState const & state);

    /// Takes out what stands under the name of `unit`, also where that is another unit of the same name. The unit keeps
    /// its states and its callback, and what is saved stays saved.
    ///
    /// @return TRACE_OK; TRACE_INVALID_ARGUMENT for null; TRACE_NOT_FOUND
    TraceResult removeTraceUnit(Log const * unit);

    /// The four below switch every registered unit, one after the other; tracing goes on meanwhile. The last one puts
    /// each unit back to the state that it was registered with.
    ///
    /// @return TRACE_OK
    TraceResult enableAllTraceUnits() const;
    TraceResult disableAllTraceUnits() const;
    TraceResult setEnablingStateAllTraceUnits(EnablingState const & state) const;
    void setDefaultEnablingStateAllTraceUnits();

    /// The four below go by the whole name of a unit. On a failure nothing changes, `state` neither.
    ///
    /// @return TRACE_OK; TRACE_INVALID_ARGUMENT for an empty name; TRACE_NOT_FOUND
    TraceResult enableTraceUnit(std::string const & unitName) const;
    TraceResult disableTraceUnit(std::string const & unitName) const;
    TraceResult setEnablingStateTraceUnit(std::string const & unitName, EnablingState const & state) const;
    TraceResult getEnablingStateTraceUnit(std::string const & unitName, EnablingState & state) const;

    /// What all units have in common: a severity is on where it is on in every one of them, and also without any unit.
    EnablingState getEnablingStateAllTraceUnits() const;

    /// Appends each name with a ";" behind it to `units`, in no particular order.
    ///
    /// @return TRACE_OK
    TraceResult getAllTraceUnits(std::string & units) const;

    /// Replaces `units` by a copy of the table. A pointer in it is good until its unit is removed.
    ///
    /// @return TRACE_OK
    TraceResult getAllTraceUnits(std::unordered_map<std::string, Log *> & units) const;

    /// The folder below which the host is installed, in which the type files lie. A "/" is put behind it, whatever it
    /// ends in. To be called while no other thread uses this object, before the first unit comes.
    void setBundleRootPath(std::string const & path);

    /// @param helper  stays the caller's and valid for as long as it is set here; null takes it away. To be called
    ///                while no other thread uses this object, before the first unit comes.
    void setPersistenceHelper(PersistenceHelperItf const * helper);

    /// The four below are for persistence requests from the Node Bus: flatbuffers of `PersistenceParam`. `data` may be
    /// anything else as well, for a save, a load or a deletion that nobody requested there: it goes to the helper as it
    /// is. The helper is called on this thread, with no lock held.
    ///
    /// @return none for what is no request, with a report where it has the tag of one
    PersistencePhase getPersistencePhase(comm::nodebus::Variant const & data) const;

    /// Saves the states in force of all registered units, and which machine they belong to, in place of what was saved.
    ///
    /// @return TRACE_OK; TRACE_INVALID_ARGUMENT for a request of another phase than save; TRACE_NOT_AVAILABLE without a
    ///         helper or its type file; TRACE_FAILED where the helper fails, what was saved then stays as it leaves it
    TraceResult saveEnablingStatesAllTraceUnits(comm::nodebus::Variant const & data) const;

    /// Switches each unit to what is saved for it. A unit without a saved state stays as it is; a saved state whose
    /// unit is gone is reported and fails nothing. What another machine saved, or one that did not know which it is, is
    /// refused as a whole. The units are switched one after the other, and each that fails leaves the others as they
    /// are.
    ///
    /// @return TRACE_OK; TRACE_INVALID_ARGUMENT for a request of another phase than load; TRACE_NOT_AVAILABLE without a
    ///         helper or its type file; TRACE_NO_SAVED_DATA; TRACE_FAILED where the helper fails;
    ///         TRACE_MACHINE_MISMATCH; of units that fail otherwise, the result of the last one
    TraceResult loadEnablingStatesAllTraceUnits(comm::nodebus::Variant const & data) const;

    /// Deletes what is saved; the units stay as they are.
    ///
    /// @return TRACE_OK; TRACE_NOT_AVAILABLE without a helper; TRACE_NO_SAVED_DATA; TRACE_FAILED where the helper fails
    TraceResult deleteEnablingStatesAllTraceUnits(comm::nodebus::Variant const & data) const;

private:
    TraceResult checkNameTraceUnit(std::string const & name,
                                   std::unordered_map<std::string, Log *> const & traceUnits) const;

    /// Switches one unit to what is saved for it. Every registration asks the helper anew.
    ///
    /// @return TRACE_OK; TRACE_NOT_FOUND where nothing is saved, for this machine and this unit; TRACE_NOT_AVAILABLE
    ///         without a helper or its type file; TRACE_FAILED where the helper fails; otherwise that of the switching
    TraceResult loadEnablingStateTraceUnit(std::string const & unitName) const;

    /// The second half of a registration, outside of the lock; under the same name, since its reports bear it.
    void addTraceUnit(std::string const & name, Log & unit, EnablingState const & state) const;

    std::unordered_map<std::string, Log *> m_traceUnits;
    mutable InheritMutex m_mutex; ///< for the table only
    std::string m_bundleRootPath;
    PersistenceHelperItf const * m_persistenceHelper;
    std::string m_machineIdentification;
    SnapName m_snapName;
    std::string m_persistenceFile;
};

} // namespace common::log::trace
