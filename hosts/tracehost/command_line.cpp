#include "command_line.h"

#include "byte_size.h"
#include "input_line.h"
#include "paths.h"
#include "privileges.h"
#include "system.h"
#include "unit_names.h"

#include <common/log/host/door_socket.h>
#include <common/log/host/duration_text.h>
#include <common/log/host/name_pattern.h>
#include <common/log/host/state_text.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <thread>

namespace tracehost {

namespace {

using common::log::host::durationText;
using common::log::host::matchesPattern;
using common::log::host::parseDuration;
using common::log::host::parseFlags;
using std::chrono::nanoseconds;

constexpr nanoseconds kShortestPeriod = std::chrono::microseconds(10);
constexpr nanoseconds kLongestPeriod = std::chrono::minutes(1);
constexpr nanoseconds kHighestThreshold = std::chrono::hours(1);
constexpr nanoseconds kShortestDuration = std::chrono::milliseconds(1);
constexpr nanoseconds kLongestDuration = std::chrono::hours(100'000);
constexpr int kMostLoadThreads = 256;
constexpr std::uint64_t kSmallestRing = std::uint64_t{1} << 20;
constexpr std::uint64_t kLargestRing = std::uint64_t{16} << 30;
constexpr std::size_t kLongestSocketPath = 107; ///< of the system's address of a Unix socket
constexpr std::size_t kMostUnitNameSize = 63;   ///< of a unit of the library, which cuts longer ones without a word

constexpr char const * kDescription =
    "Runs a cyclic task, measures how late it wakes, and traces that and each line of its inputs\n"
    "to standard error. Closes with a summary on standard output.\n";

constexpr char const * kFooterOfValues =
    "A DURATION is a whole number with ns, us, ms, s, m or h directly behind it, a SIZE one of bytes, or\n"
    "with KiB, MiB or GiB.\n"
    "\n"
    "Units: cycle.wakeup, cycle.summary, host.loss, host.nodes, host.start, host.store, host.switch,\n"
    "input.stdin (each line of standard input, unless that is a terminal) and, for each followed\n"
    "file, input. with the file's name, its dots as underscores. A pattern of --state knows * and ?;\n"
    "the first one that matches a unit's name decides. A saved state of a unit wins over --state.\n"
    "\n";

constexpr char const * kFooterOfTheDoor =
    "While it runs, tracectl switches its units and reads its records. The newest of them lie in the\n"
    "file records.ring of the state directory, also after the process was killed; those of the run\n"
    "before in records.ring.old.\n"
    "\n";

constexpr char const * kFooterOfTheRun =
    "A file is followed by its name: one that exists is read from its end on, one that appears\n"
    "later, or in the place of the first, from its beginning. It may grow, rotate, shrink, go and\n"
    "come back. SIGHUP opens all of them again.\n"
    "\n"
    "A line may begin with <0> to <7>: 0 to 3 is an error, 4 a warning, all else a message. A zero\n"
    "byte is written as \\0, and a carriage return ahead of the line end is dropped.\n"
    "\n"
    "SIGTERM and SIGINT end the run, a second one at once. Status: 0 done, 1 the run could not be\n"
    "started, the summary not written, a record unaccounted for, or states not saved or deleted,\n"
    "2 wrong use.";

[[noreturn]] void refuse(std::string const & option, std::string const & text)
{
    throw CLI::ValidationError(option, text);
}

/// Within both limits.
nanoseconds durationOf(std::string const & option, std::string const & text, nanoseconds least, nanoseconds most)
{
    std::optional<nanoseconds> const duration = parseDuration(text);
    if (!duration) {
        refuse(option, "'" + text + "' is not a whole number with one of the units ns, us, ms, s, m, h");
    }
    if (*duration < least || *duration > most) {
        refuse(option, "'" + text + "' is not between " + durationText(least) + " and " + durationText(most));
    }
    return *duration;
}

CLI::Option * addDuration(CLI::App & app, std::string const & name, nanoseconds & target, nanoseconds least,
                          nanoseconds most, std::string const & text)
{
    return app
        .add_option_function<std::string>(
            name, [=, &target](std::string const & value) { target = durationOf(name, value, least, most); }, text)
        ->type_name("DURATION")
        ->default_str(durationText(target));
}

void addCycleOptions(CLI::App & app, Options & options)
{
    addDuration(app, "--period", options.period, kShortestPeriod, kLongestPeriod, "Time between two deadlines");
    addDuration(app, "--warn-above", options.warnAbove, nanoseconds(0), kHighestThreshold,
                "Lateness above which a cycle gives a warning");
    addDuration(app, "--error-above", options.errorAbove, nanoseconds(0), kHighestThreshold,
                "The same for an error, as a missed cycle gives");
    app.add_option("--priority", options.priority, "Real-time priority of the cycle, 1 to 99; 0 for none")
        ->type_name("N")
        ->default_str(std::to_string(options.priority))
        ->check([](std::string const & text) {
            return CLI::Range(0, 99)(text).empty() ? "" : "'" + text + "' is not a number from 0 to 99";
        });
    app.add_option("--cpu", options.cpu, "Processor of the cycle; any without it")
        ->type_name("N")
        ->check([](std::string const & text) {
            unsigned int cpu = 0;
            bool const isUsable = CLI::detail::lexical_cast(text, cpu) && isUsableCpu(cpu);
            return isUsable ? "" : "'" + text + "' is no processor that this process may use";
        });
    app.add_option_function<std::vector<std::string>>(
           "--load",
           [&options](std::vector<std::string> const & values) {
               int threads = static_cast<int>(std::max(std::thread::hardware_concurrency(), 1U));
               bool const hasNumber = !values.empty() && !values.front().empty();
               if (hasNumber &&
                   (!CLI::detail::lexical_cast(values.front(), threads) || threads < 1 || threads > kMostLoadThreads)) {
                   refuse("--load",
                          "'" + values.front() + "' is not a number from 1 to " + std::to_string(kMostLoadThreads));
               }
               options.loadThreads = static_cast<unsigned int>(threads);
           },
           "Busy threads; without a number one per processor, by default none")
        ->type_name("[N]")
        ->expected(0, 1);
}

void addInputOptions(CLI::App & app, Options & options)
{
    app.add_option_function<std::vector<std::string>>(
           "--follow",
           [&options](std::vector<std::string> const & paths) {
               for (std::string const & path : paths) {
                   options.files.push_back({path, unitNameOfFile(path)});
               }
           },
           "Trace the lines that come to this file; repeatable")
        ->type_name("FILE")
        ->allow_extra_args(false);
    app.add_option_function<std::vector<std::string>>(
           "--state",
           [&options](std::vector<std::string> const & texts) {
               for (std::string const & text : texts) {
                   std::optional<StateRule> rule = parseStateRule(text);
                   if (!rule) {
                       refuse("--state", "'" + text + "' is not PATTERN=FLAGS, with FLAGS from m, w, e, or -");
                   }
                   options.states.push_back(std::move(*rule));
               }
           },
           "What units trace: FLAGS of m, w, e, or -; repeatable; by default all")
        ->type_name("PATTERN=FLAGS")
        ->allow_extra_args(false);
    app.add_option_function<std::string>(
           "--self-trace",
           [&options](std::string const & flags) {
               options.selfTrace = parseFlags(flags);
               if (!options.selfTrace) {
                   refuse("--self-trace", "'" + flags + "' is not made of m, w, e, and not -");
               }
           },
           "What the library traces of itself; by default errors")
        ->type_name("FLAGS");
}

void addStoreOptions(CLI::App & app, Options & options)
{
    app.add_option("--state-dir", options.stateDirectory, "Where states are saved and the ring lies")
        ->type_name("DIR")
        ->default_str(defaultStateDirectory());
    app.add_option("--root", options.root, "Folder of the type file; by default beside the program")->type_name("DIR");
    app.add_flag("--save", options.isSaving, "Save the states at the end of the run");
    CLI::Option * const list = app.add_flag_callback(
        "--list", [&options] { options.mode = Mode::list; }, "Show the units with their states and end");
    CLI::Option * const tree = app.add_flag_callback(
        "--tree", [&options] { options.mode = Mode::tree; }, "Show the nodes with their states and end");
    CLI::Option * const forget = app.add_flag_callback(
        "--forget", [&options] { options.mode = Mode::forget; }, "Delete the saved states and end");
    list->excludes(tree)->excludes(forget);
    tree->excludes(forget);
}

/// Refuses what the system cannot give. Nobody asks for it who says that there shall be none.
void checkRingAndDoor(std::string const & option, std::string const & text)
{
    if (!hasRingAndDoor()) {
        refuse(option, "'" + text + "' cannot be had on this system");
    }
}

std::uint64_t ringBytesOf(std::string const & text)
{
    std::uint64_t const bytes = parseByteSize(text).value_or(1);
    if (bytes != 0 && (bytes < kSmallestRing || bytes > kLargestRing)) {
        refuse("--ring", "'" + text + "' is not a size from 1MiB to 16GiB, or 0");
    }
    if (bytes != 0) {
        checkRingAndDoor("--ring", text);
    }
    return bytes;
}

void addDoorOptions(CLI::App & app, Options & options)
{
    app.add_option_function<std::string>(
           "--socket",
           [&options](std::string const & path) {
               if (path.empty() || path.size() > kLongestSocketPath) {
                   refuse("--socket",
                          "'" + path + "' is not a path of 1 to " + std::to_string(kLongestSocketPath) + " characters");
               }
               if (path != "-") {
                   checkRingAndDoor("--socket", path);
               }
               options.socket = path == "-" ? "" : path;
           },
           "Where tracectl gets in; - for nowhere")
        ->type_name("PATH")
        ->default_str(options.socket);
    app.add_option_function<std::string>(
           "--ring", [&options](std::string const & text) { options.ringBytes = ringBytesOf(text); },
           "Size of the file with the newest records, such as 8MiB; 0 for none")
        ->type_name("SIZE")
        ->default_str("64MiB");
}

void addDurationOfRun(CLI::App & app, Options & options)
{
    app.add_option_function<std::string>(
           "--duration",
           [&options](std::string const & text) {
               options.duration =
                   text == "0" ? nanoseconds(0) : durationOf("--duration", text, kShortestDuration, kLongestDuration);
           },
           "Length of the run; 0 for ever")
        ->type_name("DURATION")
        ->default_str(durationText(options.duration));
}

void checkFile(FollowedFile const & file)
{
    std::string const quoted = "'" + file.path + "' ";
    if (file.path.empty() || file.path.back() == '/') {
        refuse("--follow", quoted + "names no file");
    }
    if (file.unitName.size() > kMostUnitNameSize) {
        refuse("--follow", quoted + "makes a unit name of more than " + std::to_string(kMostUnitNameSize) +
                               " characters: " + file.unitName);
    }
    auto const breaksRecord = [](unsigned char character) { return character < ' ' || character == '|'; };
    if (std::any_of(file.unitName.begin(), file.unitName.end(), breaksRecord)) {
        refuse("--follow", quoted + "has a character in its name that would break a record");
    }
    if (std::string const hindrance = hindranceOfFollowing(file.path); !hindrance.empty()) {
        refuse("--follow", quoted + hindrance);
    }
}

/// Puts the defaults in the place of what was not given.
void completePaths(Options & options)
{
    if (options.stateDirectory.empty()) {
        options.stateDirectory = defaultStateDirectory();
    }
    if (!options.root.empty() && !hasTypeFile(options.root)) {
        refuse("--root", "'" + options.root + "' has no file " + kTypeFile);
    }
    if (options.root.empty()) {
        options.root = defaultRoot();
    }
    if (options.root.empty()) {
        refuse("--root", std::string("needed, since there is no file ") + kTypeFile + " beside the program");
    }
}

/// What no value is wrong in by itself.
void checkTogether(Options const & options)
{
    if (options.errorAbove < options.warnAbove) {
        refuse("--error-above", durationText(options.errorAbove) + " is below the " + durationText(options.warnAbove) +
                                    " of --warn-above");
    }
    std::vector<std::string> names{kCycleWakeup, kCycleSummary, kHostLoss,   kHostNodes,
                                   kHostStart,   kHostStore,    kHostSwitch, kInputStdin};
    for (FollowedFile const & file : options.files) {
        checkFile(file);
        if (std::find(names.begin(), names.end(), file.unitName) != names.end()) {
            refuse("--follow", "'" + file.path + "' makes a unit that exists already: " + file.unitName);
        }
        names.push_back(file.unitName);
    }
    for (StateRule const & rule : options.states) {
        auto const matches = [&rule](std::string const & name) { return matchesPattern(rule.pattern, name); };
        if (std::none_of(names.begin(), names.end(), matches)) {
            refuse("--state", "no unit matches '" + rule.pattern + "'");
        }
    }
}

/// Whichever option has a number of values that it cannot have, only the texts of the parser's exception know.
std::string mismatchText(CLI::App const & app, CLI::ArgumentMismatch const & error)
{
    for (CLI::Option const * const option : app.get_options()) {
        if (option->get_items_expected_max() == 1 && option->count() > 1) {
            return option->get_name() + ": given more than once";
        }
    }
    std::string const text = error.what();
    return text.substr(0, text.find(':')) + ": a value is missing";
}

std::string oneLine(std::string text)
{
    auto const isControl = [](unsigned char character) { return character < ' ' || character == 0x7F; };
    std::replace_if(text.begin(), text.end(), isControl, '?');
    return text;
}

} // namespace

CommandLine parseCommandLine(int argumentCount, char const * const * arguments)
{
    Options options;
    options.socket = common::log::host::defaultDoorSocket("tracehost");
    CLI::App app(kDescription, "tracehost");
    app.set_version_flag("--version", "tracehost " TRACEHOST_VERSION)->description("Show the version and end");
    app.set_help_flag("-h,--help", "Show this and end");
    app.footer(std::string(kFooterOfValues) + (hasRingAndDoor() ? kFooterOfTheDoor : "") + kFooterOfTheRun);
    app.get_formatter()->column_width(31);
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::Throw);
    addCycleOptions(app, options);
    addInputOptions(app, options);
    addStoreOptions(app, options);
    addDoorOptions(app, options);
    addDurationOfRun(app, options);
    try {
        app.parse(argumentCount, arguments);
        completePaths(options);
        checkTogether(options);
        return {options, "", ""};
    } catch (CLI::CallForHelp const &) {
        return {std::nullopt, app.help(), ""};
    } catch (CLI::CallForVersion const & version) {
        return {std::nullopt, std::string(version.what()) + "\n", ""};
    } catch (CLI::ArgumentMismatch const & error) {
        return {std::nullopt, "", "tracehost: " + mismatchText(app, error)};
    } catch (CLI::ParseError const & error) {
        return {std::nullopt, "", oneLine(std::string("tracehost: ") + error.what())};
    }
}

} // namespace tracehost
