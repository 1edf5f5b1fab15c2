#pragma once

#include <common/log/host/node_service.h>
#include <common/log/host/record_census.h>
#include <common/log/host/switch_board.h>
#include <common/log/trace/enabling_state.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace common::log::host {

/// A registered unit, as its host knows it.
struct DoorUnit
{
    std::string name;
    trace::EnablingState given; ///< by default, that is at the registration
    std::optional<trace::EnablingState> saved{};
};

/// One number that the host tells of itself.
struct DoorFigure
{
    std::string name;   ///< letters, digits and "_", with the unit at its end; "_total" behind what only grows
    std::string help;   ///< one sentence
    std::string labels; ///< such as reason="queue full"; may be empty
    std::uint64_t value = 0;
};

/// What a host hands to its door. The functions are called on the door's thread and may throw.
struct DoorHost
{
    std::string program; ///< such as "tracehost"
    std::string version;
    std::function<std::vector<DoorUnit>()> units;
    std::function<std::vector<DoorFigure>()> figures;
    /// Deletes what is saved; false where nothing was.
    std::function<bool()> forget;
};

struct DoorOptions
{
    std::string socketPath;        ///< its folder is made when it is missing, with rights 0755
    std::string ringPath;          ///< the records are read from here; empty without a ring
    unsigned int idleSeconds = 10; ///< how long a request may stand still, or a connection without one
};

/// The socket is that of a living host.
class DoorIsTaken : public std::runtime_error
{
public:
    /// @param processId  0 where it cannot be told
    DoorIsTaken(std::string const & socketPath, std::int64_t processId);
};

/// Lets people in: HTTP with JSON on a Unix socket, for units, nodes, records and figures, see docs/door.md.
///
/// The socket's rights are 0660, so that user and group of the host may do everything, and others nothing. One that a
/// dead host left is replaced; a living one is not.
///
/// Ownership  All that is handed in outlives the door. The socket's file is its own, and taken away at the end.
/// Threads    One of its own serves everything, the readers of events too: one that does not read is behind alone.
/// Real time  None of it. No thread that traces ever waits for the door.
/// Errors     A caller gets them as JSON. Without memory the connection ends.
class Door
{
public:
    /// @param census  counts of the records of each unit
    /// @throws DoorIsTaken
    /// @throws std::runtime_error  where the socket cannot be made, with path and reason
    Door(DoorOptions const & options, DoorHost host, NodeService & nodes, SwitchBoard & switches,
         RecordCensus const & census);
    Door(Door const &) = delete;
    Door & operator=(Door const &) = delete;
    ~Door(); ///< ends all connections

private:
    class Server;
    std::unique_ptr<Server> m_server;
};

} // namespace common::log::host
