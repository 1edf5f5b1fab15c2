#pragma once

#include "state_rules.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tracehost {

struct FollowedFile
{
    std::string path;
    std::string unitName;
};

enum class Mode
{
    run,
    list,  ///< only show the units
    tree,  ///< only show the nodes
    forget ///< only delete the saved states
};

struct Options
{
    Mode mode = Mode::run;
    std::chrono::nanoseconds period = std::chrono::milliseconds(1);
    std::chrono::nanoseconds warnAbove = std::chrono::microseconds(250);
    std::chrono::nanoseconds errorAbove = std::chrono::milliseconds(1);
    int priority = 80; ///< 0 for none
    std::optional<unsigned int> cpu;
    unsigned int loadThreads = 0;
    std::vector<FollowedFile> files;
    std::vector<StateRule> states;
    std::optional<common::log::trace::EnablingState> selfTrace;
    std::string stateDirectory;                                   ///< in which states are saved; need not be there
    std::string root;                                             ///< below which the type file lies
    std::string socket;                                           ///< of the door; empty without one
    std::uint64_t ringBytes = std::uint64_t{64} * 1024 * 1024;    ///< 0 without a ring
    bool isSaving = false;                                        ///< at the end of the run
    std::chrono::nanoseconds duration = std::chrono::seconds(20); ///< 0 for ever
};

/// What the command line asks for: options to run with, or one of the two texts.
struct CommandLine
{
    std::optional<Options> options;
    std::string output; ///< what --help and --version say
    std::string error;  ///< what is wrong, one line without its end
};

/// Checks all that can be wrong with the values, so that nothing has to be started to find out: ranges, processors,
/// files that cannot be followed, units of the same name, patterns that no unit has.
CommandLine parseCommandLine(int argumentCount, char const * const * arguments);

} // namespace tracehost
