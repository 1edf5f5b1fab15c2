#pragma once

#include "state_change.h"

#include <common/log/host/record_text.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace tracectl {

enum class Command
{
    list,
    tree,
    set, ///< `on` and `off` too
    giveDefault,
    save,
    load,
    forget,
    tail,
    dump,
    exportRecords,
    stats,
    top
};

enum class RecordFormat
{
    text, ///< a line for people
    json,
    csv,
    lnav
};

struct Options
{
    Command command = Command::list;
    std::string socketPath; ///< empty: that of the only host
    std::string pattern;    ///< of units; empty for all
    bool isJson = false;    ///< of list and stats

    bool isNamesOnly = false; ///< of list

    StateChange change;
    std::optional<std::chrono::seconds> duration; ///< of a switch; none: 10 minutes where messages go on
    bool isForEver = false;
    bool isDryRun = false;
    bool isAnyway = false; ///< of save

    RecordFormat format = RecordFormat::text;
    common::log::host::RecordSeverity severity = common::log::host::RecordSeverity::message; ///< the least
    std::string expression; ///< of --grep; empty for none
    std::string ringPath;   ///< of a ring to read in the place of a host
    std::uint64_t last = 10;

    std::chrono::milliseconds interval{1000}; ///< of top
    std::optional<std::uint64_t> looks;       ///< of top; none: one, and on a terminal without end
};

/// What the command line asks for: options, or one of the texts.
struct CommandLine
{
    std::optional<Options> options;
    std::string output; ///< what --help and --version say
    std::string error;  ///< what is wrong
};

CommandLine parseCommandLine(int argumentCount, char const * const * arguments);

} // namespace tracectl
