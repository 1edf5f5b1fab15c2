#pragma once

#include "door_client.h"

#include <common/log/trace/enabling_state.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tracectl {

using common::log::trace::EnablingState;

/// A switch that ends by itself.
struct ExpiringSwitch
{
    std::string until; ///< UTC
    std::int64_t seconds = 0;
};

struct Unit
{
    std::string name;
    std::string address;
    std::optional<EnablingState> current; ///< none where the node does not answer
    EnablingState given;
    std::optional<EnablingState> saved;
    std::optional<ExpiringSwitch> expiry;
    std::uint64_t messages = 0;
    std::uint64_t warnings = 0;
    std::uint64_t errors = 0;

    std::uint64_t records() const { return messages + warnings + errors; }
};

// What the answers of docs/door.md hold. All of it throws a Failure, Status::refused, that names the field where an
// answer is not as it is written there.

/// The units that match a pattern, by name; all of them without one.
std::vector<Unit> unitsOf(DoorClient & door, std::string const & pattern);

std::string textField(Json const & object, char const * name);
std::uint64_t countField(Json const & object, char const * name);
Json const & arrayField(Json const & object, char const * name);
EnablingState stateField(Json const & object, char const * name);

/// Three booleans; nothing for all else.
std::optional<EnablingState> stateOf(Json const & value);

/// As the door takes it.
std::string stateJson(EnablingState const & state);

/// "-", or the letters of the state.
std::string lettersOf(std::optional<EnablingState> const & state, char const * without);

} // namespace tracectl
