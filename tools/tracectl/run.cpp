#include "run.h"

#include "door_client.h"
#include "socket_search.h"
#include "switch_commands.h"
#include "unit_commands.h"

namespace tracectl {

namespace {

void runAtDoor(DoorClient & door, Options const & options, Output & output)
{
    switch (options.command) {
    case Command::list:
        return showUnits(door, options, output);
    case Command::tree:
        return showNodes(door, output);
    case Command::set:
    case Command::giveDefault:
        return switchUnits(door, options, output);
    case Command::save:
        return saveStates(door, options, output);
    case Command::load:
        return loadStates(door, output);
    case Command::forget:
        return forgetStates(door, output);
    case Command::stats:
        return showFigures(door, options, output);
    case Command::top:
        return showLoudest(door, options, output);
    case Command::tail:
    case Command::dump:
    case Command::exportRecords:
        return;
    }
}

} // namespace

void run(Options const & options, Output & output)
{
    DoorClient door(options.socketPath.empty() ? socketOfTheHost() : options.socketPath);
    runAtDoor(door, options, output);
}

} // namespace tracectl
