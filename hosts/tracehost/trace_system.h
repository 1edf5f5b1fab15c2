#pragma once

#include "state_rules.h"

#include <common/log/trace.h>

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tracehost {

/// The trace library as this program holds it: constructed, and ended, in the order that the library asks for. With the
/// end, all that is queued is written, and what it waits for is the stream.
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
    };

    /// @param rules      decide over the given state of each unit; outlive this object, as does `account`
    /// @param selfTrace  what the library's own unit is switched to; its errors alone without it
    TraceSystem(std::vector<StateRule> const & rules,
                std::optional<common::log::trace::EnablingState> const & selfTrace,
                common::log::trace::CallAccount & account);
    TraceSystem(TraceSystem const &) = delete;
    TraceSystem & operator=(TraceSystem const &) = delete;
    ~TraceSystem();

    /// Makes a unit and registers it.
    ///
    /// @return valid as long as this object
    /// @throws std::runtime_error where the name is refused
    common::log::trace::CountedLog & add(std::string const & name);

    /// All registered units by name, the library's own included.
    std::vector<UnitState> states() const;

private:
    // The order of the end is the reverse one: the handler writes what is queued before the library's voice goes.
    common::log::trace::InternalTrace m_internalTrace;
    std::shared_ptr<common::log::trace::Handler> m_handler;
    std::shared_ptr<common::log::trace::Manager> m_manager;
    std::deque<common::log::trace::CountedLog> m_units;
    std::vector<StateRule> const & m_rules;
    common::log::trace::CallAccount & m_account;
};

/// The units as a table: name, state at registration, state of now, in the letters of --state.
std::string unitTable(std::vector<TraceSystem::UnitState> const & states);

} // namespace tracehost
