#pragma once

#include <common/log/host/node_service.h>
#include <common/log/trace/enabling_state.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace common::log::host {

/// Who switches.
struct SwitchAuthor
{
    std::uint32_t userId = 0;
    std::string userName; ///< may be empty
    std::string from;     ///< by which door, and what else it knows of the caller
};

/// One unit, as a switch found and left it.
struct SwitchedUnit
{
    std::string address;
    trace::EnablingState before;
    trace::EnablingState now;
};

/// A switch with an expiry that is still ahead.
struct RunningSwitch
{
    std::string address;         ///< of the unit
    trace::EnablingState before; ///< what the unit gets back when the last of its switches ends
    trace::EnablingState now;
    std::chrono::system_clock::time_point until; ///< of the one in force
    SwitchAuthor author;
};

/// What happened to a unit or a group, for the record of it.
struct SwitchEvent
{
    enum class Kind
    {
        set,       ///< switched, by `author`
        putBack,   ///< a switch expired
        leftAlone, ///< a switch ended without anything being put back: somebody else had changed the unit
        gone,      ///< a switch expired, and the unit is not there any more
        failed,    ///< a switch expired, and the node refused; nothing more is tried
        saved,
        loaded
    };

    Kind kind = Kind::set;
    std::string address; ///< as it was written to; of the unit where a switch ends
    std::string before;  ///< the state in letters, see state_text.h; for a group "various" where its units differ
    std::string now;     ///< likewise; what it should have become where the unit is gone or its node refused
    std::optional<std::chrono::system_clock::time_point> until{}; ///< of the switch that is in force now, if any is
    SwitchAuthor author{};                                        ///< of the switch that was made, or has ended
};

/// One line for a record: what, who, from where, old, new, until when (UTC, to the second).
std::string textOf(SwitchEvent const & event);

/// The switches from outside: remembers what was before one with an expiry, and puts it back. Works through the nodes,
/// like any client.
///
/// A switch of a group is one of each unit that it has just then. Those of one unit lie on each other: the newest is in
/// force, the end of it brings back the one below that still runs, and the end of the last one the state before the
/// first. A switch without an expiry ends all those of its units. What another client, a load or a call changed in the
/// meantime is left as it is, and ends the switches of the unit. That is told by its state alone: a unit that was removed
/// and came back just as the switch had left it counts as the same one. Running switches are kept in memory alone: with
/// the process they end, since the state at the next start is the saved or the given one.
///
/// The states of a group are read ahead of the write that switches it: a unit that is registered between the two is
/// switched without an expiry.
///
/// Ownership  The service outlives the board, as does what the report and the clock use.
/// Threads    Any number at once; switches are made one after the other. A thread of its own puts back what is due. Not
///            to be called by what handles a request or a change of state, since those that switch wait for it.
/// Report     One event for each switch, and one for each unit where one ends, in that order, with no lock held, on a
///            thread that switches or on the board's own. It may call the board. What it throws is dropped.
/// Real time  None of it.
class SwitchBoard
{
public:
    using Clock = std::function<std::chrono::steady_clock::time_point()>;
    using Report = std::function<void(SwitchEvent const & event)>;

    struct Addresses
    {
        std::string units;         ///< such as "trace/machine/units"
        std::string configuration; ///< such as "trace/machine/admin/cfg"
    };

    /// @param report  may be empty
    /// @param clock   for tests; without one the steady clock of the system. With one there is no thread, and the test
    ///                calls `expire`.
    SwitchBoard(NodeService & nodes, Addresses addresses, Report report, Clock const & clock = {});
    SwitchBoard(SwitchBoard const &) = delete;
    SwitchBoard & operator=(SwitchBoard const &) = delete;
    ~SwitchBoard(); ///< running switches stay as they are

    Addresses const & addresses() const;

    struct Outcome
    {
        comm::nodebus::NbResult result;
        std::vector<SwitchedUnit> units{}; ///< all that were reached, those without a change too
        std::optional<std::chrono::system_clock::time_point> until{};
    };

    /// Writes a node.
    ///
    /// @param address   of a unit or a group; any other node is written as it is, and cannot have an expiry
    /// @param value     handed to the node as it is
    /// @param duration  none for ever
    /// @return what the node answered; NB_UNSUPPORTED for an expiry of what is no unit or group. Where a group fails, with
    ///         the units that were switched all the same.
    Outcome write(std::string const & address, comm::nodebus::Variant const & value,
                  std::optional<std::chrono::seconds> duration, SwitchAuthor const & author);

    struct SaveOutcome
    {
        comm::nodebus::NbResult result;
        std::vector<RunningSwitch> running{}; ///< not empty: nothing was saved because of these
    };

    /// Has the states in force saved, by a request to the configuration node. Refused while switches with an expiry
    /// run, which it would make permanent, with NB_INVALID_OPERATION_MODE.
    ///
    /// @param isForced  saves all the same; the switches still expire
    SaveOutcome save(bool isForced, SwitchAuthor const & author);

    /// Has the saved states loaded. A running switch of a unit that changes by it ends without putting anything back.
    comm::nodebus::NbResult load(SwitchAuthor const & author);

    /// One for each unit with running switches, by address.
    std::vector<RunningSwitch> running() const;

    /// Puts back what is due by now.
    void expire();
    /// Puts back all, due or not, as at the end of a host that saves the states then.
    void endAll();

private:
    class Board;
    std::unique_ptr<Board> m_board;
};

} // namespace common::log::host
