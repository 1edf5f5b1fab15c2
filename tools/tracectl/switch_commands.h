#pragma once

#include "command_line.h"
#include "door_client.h"
#include "output.h"

namespace tracectl {

// What changes a host. Each command tells what it did, or throws a Failure.

/// `set`, `on`, `off` and `default`: one node write for each unit that the pattern matches. One that the host refuses
/// does not keep the others from being switched.
///
/// @throws Failure  Status::wrongUse where no unit matches, with names near to the pattern
/// @throws Failure  Status::refused at the end, where units could not be switched, with each and why
void switchUnits(DoorClient & door, Options const & options, Output & output);

/// @throws Failure  Status::refused, with the list of them, while switches with an expiry run
void saveStates(DoorClient & door, Options const & options, Output & output);
void loadStates(DoorClient & door, Output & output);
void forgetStates(DoorClient & door, Output & output);

} // namespace tracectl
