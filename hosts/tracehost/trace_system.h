#pragma once

#include "command_line.h"

#include <common/log/host/file_store.h>
#include <common/log/host/node_service.h>
#include <common/log/host/switch_board.h>
#include <common/log/trace.h>

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracehost {

/// The trace library as this program holds it, with a store for its states and a service for its nodes: constructed, and
/// ended, in the order that the library asks for. With the end, all that is queued is written, and what it waits for is
/// the stream.
///
/// Threads    Constructed before and destroyed after all threads that trace.
class TraceSystem
{
public:
    struct UnitState
    {
        std::string name;
        common::log::trace::EnablingState given;
        common::log::trace::EnablingState current;
        std::optional<common::log::trace::EnablingState> saved;
    };

    /// @param options  outlives this object, as does `account`
    TraceSystem(Options const & options, common::log::trace::CallAccount & account);
    TraceSystem(TraceSystem const &) = delete;
    TraceSystem & operator=(TraceSystem const &) = delete;
    ~TraceSystem();

    /// Makes a unit and registers it.
    ///
    /// @return valid as long as this object
    /// @throws std::runtime_error where the name is refused
    common::log::trace::CountedLog & add(std::string const & name);

    common::log::host::NodeService & service() { return m_service; }
    common::log::host::SwitchBoard & switches() { return *m_switches; }

    /// All registered units by name, the library's own included. While no unit is added.
    std::vector<UnitState> states() const;

    /// Saves the states that units have without the switches that would expire, which end with this.
    ///
    /// @return false where that failed, which the unit host.store has traced
    bool saveStates();

    /// Deletes what is saved.
    ///
    /// @return TRACE_OK, TRACE_NO_SAVED_DATA or a failure
    common::log::trace::TraceResult forgetStates();

private:
    Options const & m_options;
    common::log::trace::CallAccount & m_account;
    common::log::host::FileStore m_store;
    // The order of the end is the reverse one: the handler writes what is queued before the library's voice goes.
    common::log::trace::InternalTrace m_internalTrace;
    std::shared_ptr<common::log::trace::Handler> m_handler;
    std::shared_ptr<common::log::trace::Manager> m_manager;
    std::deque<common::log::trace::CountedLog> m_units;
    common::log::trace::CountedLog * m_nodeFaults = nullptr;
    common::log::trace::CountedLog * m_storeFaults = nullptr;
    common::log::trace::CountedLog * m_switchNotes = nullptr;
    common::log::host::NodeService m_service;
    common::log::trace::NodebusProvider m_provider;
    std::optional<common::log::host::SwitchBoard> m_switches;
};

/// The units as a table: name, state at registration, state of now, and what is saved if anything is,
/// in the letters of --state.
std::string unitTable(std::vector<TraceSystem::UnitState> const & states);

} // namespace tracehost
