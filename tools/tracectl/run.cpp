#include "run.h"

#include "door_client.h"
#include "record_commands.h"
#include "socket_search.h"
#include "switch_commands.h"
#include "tail.h"
#include "unit_commands.h"

namespace tracectl {

namespace {

/// All but what reads records, which may do without a host.
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
    switch (options.command) {
    case Command::tail:
        return followRecords(options, RecordFilter(options), output);
    case Command::dump:
    case Command::exportRecords:
        return writeRecords(options, RecordFilter(options), output);
    default:
        break;
    }
    DoorClient door(options.socketPath.empty() ? socketOfTheHost() : options.socketPath);
    runAtDoor(door, options, output);
}

} // namespace tracectl
