#pragma once

#include "command_line.h"
#include "door_client.h"
#include "output.h"

namespace tracectl {

// What shows units and nodes. Each command writes its answer, or throws a Failure.

void showUnits(DoorClient & door, Options const & options, Output & output);
void showNodes(DoorClient & door, Output & output);
void showFigures(DoorClient & door, Options const & options, Output & output);

/// Which units brought most records in a time.
void showLoudest(DoorClient & door, Options const & options, Output & output);

} // namespace tracectl
