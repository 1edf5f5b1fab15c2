#include "command_line.h"

#include <common/log/host/duration_text.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace tracectl {

namespace {

using common::log::host::durationText;
using common::log::host::parseDuration;
using common::log::host::RecordSeverity;
using common::log::trace::EnablingState;
using std::chrono::nanoseconds;

constexpr std::chrono::seconds kShortestSwitch(1);
constexpr std::chrono::hours kLongestSwitch(10'000);
constexpr std::chrono::milliseconds kShortestInterval(100);
constexpr std::chrono::hours kLongestInterval(1);

constexpr char const * kDescription = "Shows and switches the trace units of a running host, and reads its records.";

constexpr char const * kFooter =
    "GLOB is a pattern for names of units, in which * stands for any characters, dots too, and ? for\n"
    "one. A DURATION is a whole number with ms, s, m or h directly behind it.\n"
    "\n"
    "Without --socket, the only host that listens in the folder common_log_trace below\n"
    "$XDG_RUNTIME_DIR or /run is spoken to. Of several, --socket chooses one.\n"
    "\n"
    "Times are UTC. Colour and columns come on a terminal only, and no colour where NO_COLOR is set.\n"
    "No control character of a record ever reaches the output: it comes as an escape such as \\n.\n"
    "\n"
    "Status: 0 done, 1 refused by the host or its answer cannot be used, 2 wrong use, 3 no host.";

constexpr char const * kSwitchFooter =
    "Messages that are switched on end after 10 minutes without --for, since a forgotten switch\n"
    "would go on for ever: the unit then gets back what was before. All else stays until the next\n"
    "switch, or the end of the host.";

constexpr char const * kSetFooter =
    "FLAGS are letters of m (messages), w (warnings), e (errors), or - for none. With + or - ahead,\n"
    "such as +m or -we, only these change.\n"
    "\n";

[[noreturn]] void refuse(std::string const & option, std::string const & text)
{
    throw CLI::ValidationError(option, text);
}

nanoseconds durationOf(std::string const & option, std::string const & text, nanoseconds least, nanoseconds most)
{
    std::optional<nanoseconds> const duration = parseDuration(text);
    if (!duration) {
        refuse(option, "'" + text + "' is not a whole number with one of the units ms, s, m, h");
    }
    if (*duration < least || *duration > most) {
        refuse(option, "'" + text + "' is not between " + durationText(least) + " and " + durationText(most));
    }
    return *duration;
}

std::uint64_t countOf(std::string const & option, std::string const & text)
{
    std::uint64_t count = 0;
    if (text.find('-') != std::string::npos || !CLI::detail::lexical_cast(text, count) || count == 0) {
        refuse(option, "'" + text + "' is not a number from 1 on");
    }
    return count;
}

/// The parser's help with less: what an option excludes, and that it is needed, the usage and the texts tell.
class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter()
    {
        column_width(26);
        label("SUBCOMMAND", "COMMAND");
    }

    std::string make_description(CLI::App const * app) const override { return app->get_description() + "\n\n"; }

    std::string make_option_opts(CLI::Option const * option) const override
    {
        std::string const text = option->get_type_name().empty() ? "" : " " + option->get_type_name();
        return option->get_default_str().empty() ? text : text + " = " + option->get_default_str();
    }
};

/// Makes the commands. Each keeps what it is given in `options`. That and this object have to live as long as the parser.
class Commands
{
public:
    Commands(CLI::App & app, Options & options) : m_app(app), m_options(options) {}

    void addAll()
    {
        addLists();
        addSwitches();
        addStore();
        addRecords();
        addFigures();
    }

private:
    CLI::App & add(std::string const & name, Command command, std::string const & text)
    {
        CLI::App & sub = *m_app.add_subcommand(name, text);
        sub.group("Commands");
        sub.callback([this, command] { m_options.command = command; });
        sub.set_help_flag("-h,--help", "Show this and end");
        return sub;
    }

    CLI::Option * addPattern(CLI::App & sub, char const * text)
    {
        return sub.add_option("GLOB", m_options.pattern, text)->type_name("");
    }

    template <typename Take>
    CLI::Option * addValue(CLI::App & sub, char const * name, Take take, char const * text)
    {
        return sub.add_option_function<std::string>(name, std::function<void(std::string const &)>(take), text);
    }

    void addLists()
    {
        CLI::App & list = add("list", Command::list, "Show the units with their states and how much they traced");
        addPattern(list, "Only these units");
        CLI::Option * const json = list.add_flag("--json", m_options.isJson, "As the host tells it");
        list.add_flag("--names", m_options.isNamesOnly, "Names alone")->excludes(json);
        add("tree", Command::tree, "Show all nodes with their states");
    }

    void addDuration(CLI::App & sub)
    {
        auto const take = [this](std::string const & text) {
            m_options.isForEver = text == "ever";
            if (!m_options.isForEver) {
                m_options.duration =
                    std::chrono::ceil<std::chrono::seconds>(durationOf("--for", text, kShortestSwitch, kLongestSwitch));
            }
        };
        addValue(sub, "--for", take, "How long; ever for no end")->type_name("DURATION");
        sub.add_flag("--dry-run", m_options.isDryRun, "Only show what would change");
    }

    /// FLAGS of `set`. Those with a minus ahead are short options for the parser, each letter one of its own.
    void addFlags(CLI::App & set)
    {
        auto const takeWhole = [this](std::string const & text) {
            std::optional<StateChange> const change = parseStateChange(text);
            if (!change) {
                refuse("FLAGS", "'" + text + "' is not made of m, w, e, also behind + or -, and not -");
            }
            m_options.change = *change;
        };
        std::vector<CLI::Option const *> forms{addValue(set, "FLAGS", takeWhole, "What they shall trace, see below")};
        set.get_option("FLAGS")->type_name("");
        for (auto const & [name, severity] : {std::pair{"-m", &EnablingState::messages},
                                              {"-w", &EnablingState::warnings},
                                              {"-e", &EnablingState::errors}}) {
            bool EnablingState::*const flag = severity;
            forms.push_back(
                set.add_flag_callback(name, [this, flag] { m_options.change.off.*flag = true; })->group(""));
        }
        set.callback([this, forms] {
            m_options.command = Command::set;
            if (std::all_of(forms.begin(), forms.end(), [](auto const * form) { return form->count() == 0; })) {
                throw CLI::RequiredError("FLAGS");
            }
        });
    }

    void addSwitches()
    {
        CLI::App & set = add("set", Command::set, "Switch units");
        set.footer(std::string(kSetFooter) + kSwitchFooter);
        addPattern(set, "Units to switch")->required();
        addFlags(set);
        addDuration(set);

        CLI::App & on = add("on", Command::set, "Switch all severities of units on");
        CLI::App & off = add("off", Command::set, "Switch all severities of units off");
        for (auto const & [sub, letters] : {std::pair{&on, "mwe"}, {&off, "-"}}) {
            addPattern(*sub, "Units to switch")->required();
            addDuration(*sub);
            sub->footer(kSwitchFooter);
            std::string_view const flags = letters;
            sub->callback([this, flags] {
                m_options.command = Command::set;
                m_options.change = *parseStateChange(flags);
            });
        }

        CLI::App & given = add("default", Command::giveDefault, "Put units back to their default state");
        addPattern(given, "Units to switch")->required();
        given.add_flag("--dry-run", m_options.isDryRun, "Only show what would change");
    }

    void addStore()
    {
        CLI::App & save = add("save", Command::save, "Save the states in force for the next start");
        save.add_flag("--anyway", m_options.isAnyway, "Also while switches with an expiry run");
        add("load", Command::load, "Put the saved states in force");
        add("forget", Command::forget, "Delete the saved states");
    }

    void addFilter(CLI::App & sub)
    {
        addPattern(sub, "Only records of these units");
        auto const takeSeverity = [this](std::string const & text) {
            m_options.severity = text == "m"   ? RecordSeverity::message
                                 : text == "w" ? RecordSeverity::warning
                                 : text == "e"
                                     ? RecordSeverity::error
                                     : throw CLI::ValidationError("--severity", "'" + text + "' is not m, w or e");
        };
        addValue(sub, "--severity", takeSeverity, "The least: m all, w warnings and errors, e errors")
            ->type_name("LETTER");
        sub.add_option("--grep", m_options.expression, "Only lines that this extended regular expression matches")
            ->type_name("RE");
    }

    CLI::Option * addFormat(CLI::App & sub, char const * name, RecordFormat format, char const * text)
    {
        return sub.add_flag_callback(
            name, [this, format] { m_options.format = format; }, text);
    }

    void addRing(CLI::App & sub)
    {
        sub.add_option("--ring", m_options.ringPath, "Read this ring, which a host wrote, instead of asking one")
            ->type_name("FILE");
    }

    void addRecords()
    {
        CLI::App & tail = add("tail", Command::tail, "Show the newest records and all that come");
        tail.footer("Goes on when the host is started again, and waits while there is none. What comes faster\n"
                    "than it can be shown is passed over and counted.");
        addFilter(tail);
        addFormat(tail, "--json", RecordFormat::json, "A JSON object a line")
            ->excludes(addFormat(tail, "--lnav", RecordFormat::lnav, "Records as lnav reads them"));

        CLI::App & dump = add("dump", Command::dump, "Show the newest records and end");
        addFilter(dump);
        auto const takeLast = [this](std::string const & text) { m_options.last = countOf("--last", text); };
        addValue(dump, "--last", takeLast, "How many")->type_name("N")->default_str("10");
        addRing(dump);
        addFormat(dump, "--json", RecordFormat::json, "A JSON object a line");

        CLI::App & out = add("export", Command::exportRecords, "Write out all records that the host still has");
        addFilter(out);
        addRing(out);
        std::vector<CLI::Option *> const formats{
            addFormat(out, "--lnav", RecordFormat::lnav, "Records as lnav reads them"),
            addFormat(out, "--csv", RecordFormat::csv, "A table for other programs"),
            addFormat(out, "--json", RecordFormat::json, "A JSON object a line")};
        out.callback([this, formats] {
            m_options.command = Command::exportRecords;
            if (std::count_if(formats.begin(), formats.end(), [](auto const * form) { return form->count() > 0; }) !=
                1) {
                refuse("export", "needs one of --lnav, --csv, --json");
            }
        });
    }

    void addFigures()
    {
        CLI::App & stats = add("stats", Command::stats, "Show the figures of the host");
        stats.add_flag("--json", m_options.isJson, "As the host tells it");
        CLI::App & top = add("top", Command::top, "Show the loudest units");
        addPattern(top, "Only these units");
        auto const takeInterval = [this](std::string const & text) {
            m_options.interval = std::chrono::duration_cast<std::chrono::milliseconds>(
                durationOf("--every", text, kShortestInterval, kLongestInterval));
        };
        addValue(top, "--every", takeInterval, "Length of a look")->type_name("DURATION")->default_str("1s");
        auto const takeLooks = [this](std::string const & text) { m_options.looks = countOf("--looks", text); };
        addValue(top, "--looks", takeLooks, "How many; by default one, on a terminal until interrupted")
            ->type_name("N");
    }

    CLI::App & m_app;
    Options & m_options;
};

/// Whichever option has a number of values that it cannot have, only the texts of the parser's exception know.
std::string mismatchText(CLI::ParseError const & error)
{
    std::string const text = error.what();
    return text.substr(0, text.find(':')) + ": a value is missing, or there is one too many";
}

/// For the parser, a command that it does not know is a missing one.
std::string requiredText(CLI::App const & app, CLI::RequiredError const & error)
{
    if (!app.get_subcommands().empty()) {
        return error.what();
    }
    std::vector<std::string> const unknown = app.remaining();
    std::string const what = unknown.empty() ? "a command is needed" : "there is no command '" + unknown.front() + "'";
    return what + ", see tracectl --help";
}

} // namespace

CommandLine parseCommandLine(int argumentCount, char const * const * arguments)
{
    Options options;
    CLI::App app(kDescription, "tracectl");
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_version_flag("--version", "tracectl " TRACECTL_VERSION)->description("Show the version and end");
    app.set_help_flag("-h,--help", "Show this and end");
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::Throw);
    app.add_option("--socket", options.socketPath, "Socket of the host")->type_name("PATH");
    app.fallthrough();
    app.require_subcommand(1);
    Commands commands(app, options); // which the parser calls
    commands.addAll();
    app.footer(kFooter); // behind the commands, which would take it over
    try {
        app.parse(argumentCount, arguments);
        return {options, "", ""};
    } catch (CLI::CallForHelp const &) {
        return {std::nullopt, app.help(), ""};
    } catch (CLI::CallForVersion const & version) {
        return {std::nullopt, std::string(version.what()) + "\n", ""};
    } catch (CLI::ArgumentMismatch const & error) {
        return {std::nullopt, "", mismatchText(error)};
    } catch (CLI::RequiredError const & error) {
        return {std::nullopt, "", requiredText(app, error)};
    } catch (CLI::ParseError const & error) {
        return {std::nullopt, "", error.what()};
    }
}

} // namespace tracectl
