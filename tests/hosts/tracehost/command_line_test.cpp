#include "command_line.h"

#include "temporary_folder.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tracehost {
namespace {

using namespace std::chrono_literals;

CommandLine parse(std::vector<char const *> arguments)
{
    arguments.insert(arguments.begin(), "tracehost");
    return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

TEST(CommandLine, KeepsTheDefaultsOfWhatIsNotGiven)
{
    CommandLine const parsed = parse({});
    ASSERT_TRUE(parsed.options) << parsed.error;
    EXPECT_EQ(parsed.options->period, 1ms);
    EXPECT_EQ(parsed.options->warnAbove, 250us);
    EXPECT_EQ(parsed.options->errorAbove, 1ms);
    EXPECT_EQ(parsed.options->priority, 80);
    EXPECT_FALSE(parsed.options->cpu);
    EXPECT_EQ(parsed.options->loadThreads, 0U);
    EXPECT_EQ(parsed.options->duration, 20s);
}

TEST(CommandLine, TakesEachOption)
{
    CommandLine const parsed = parse({"--period",
                                      "2ms",
                                      "--warn-above=0us",
                                      "--error-above",
                                      "3s",
                                      "--priority",
                                      "0",
                                      "--load",
                                      "3",
                                      "--follow",
                                      "x/a.b.log",
                                      "--follow=y=z",
                                      "--state",
                                      "input.*=-",
                                      "--state",
                                      "*=we",
                                      "--duration",
                                      "0",
                                      "--socket",
                                      "-",
                                      "--ring",
                                      "8MiB"});
    ASSERT_TRUE(parsed.options) << parsed.error;
    EXPECT_EQ(parsed.options->period, 2ms);
    EXPECT_EQ(parsed.options->warnAbove, 0us);
    EXPECT_EQ(parsed.options->errorAbove, 3s);
    EXPECT_EQ(parsed.options->priority, 0);
    EXPECT_EQ(parsed.options->loadThreads, 3U);
    EXPECT_EQ(parsed.options->duration, 0s);
    EXPECT_EQ(parsed.options->socket, "");
    EXPECT_EQ(parsed.options->ringBytes, 8U << 20);
    ASSERT_EQ(parsed.options->files.size(), 2U);
    EXPECT_EQ(parsed.options->files[0].path, "x/a.b.log");
    EXPECT_EQ(parsed.options->files[0].unitName, "input.a_b_log");
    EXPECT_EQ(parsed.options->files[1].unitName, "input.y=z");
    ASSERT_EQ(parsed.options->states.size(), 2U);
    EXPECT_EQ(parsed.options->states[0].pattern, "input.*");
    EXPECT_FALSE(parsed.options->states[0].state.errors);
    EXPECT_TRUE(parsed.options->states[1].state.errors);
}

TEST(CommandLine, LoadsEachProcessorWithoutANumber)
{
    for (auto const & arguments : {std::vector<char const *>{"--load"}, {"--load", "--duration", "1s"}}) {
        CommandLine const parsed = parse(arguments);
        ASSERT_TRUE(parsed.options) << parsed.error;
        EXPECT_EQ(parsed.options->loadThreads, std::max(std::thread::hardware_concurrency(), 1U));
    }
}

struct WrongUse
{
    std::vector<char const *> arguments;
    std::string complaint;
};

std::string const kNoDuration = " is not a whole number with one of the units ns, us, ms, s, m, h";
std::string const kNoPriority = " is not a number from 0 to 99";
std::string const kNoCount = " is not a number from 1 to 256";
std::string const kNoRing = " is not a size from 1MiB to 16GiB, or 0";
std::string const kNoRule = " is not PATTERN=FLAGS, with FLAGS from m, w, e, or -";

WrongUse const kWrongUses[] = {
    {{"--bogus"}, "The following argument was not expected: --bogus"},
    {{"more"}, "The following argument was not expected: more"},
    {{"--period"}, "--period: a value is missing"},
    {{"--period", "1ms", "--period", "2ms"}, "--period: given more than once"},
    {{"--load", "1", "--load"}, "--load: given more than once"},
    {{"--period", "1"}, "--period: '1'" + kNoDuration},
    {{"--period", "-1ms"}, "--period: '-1ms'" + kNoDuration},
    {{"--period", "0ms"}, "--period: '0ms' is not between 10us and 1m"},
    {{"--period", "61s"}, "--period: '61s' is not between 10us and 1m"},
    {{"--warn-above", "0"}, "--warn-above: '0'" + kNoDuration},
    {{"--warn-above", "2ms"}, "--error-above: 1ms is below the 2ms of --warn-above"},
    {{"--error-above", "249us"}, "--error-above: 249us is below the 250us of --warn-above"},
    {{"--duration", "20"}, "--duration: '20'" + kNoDuration},
    {{"--priority", "100"}, "--priority: '100'" + kNoPriority},
    {{"--priority", "-1"}, "--priority: '-1'" + kNoPriority},
    {{"--priority", "high"}, "--priority: 'high'" + kNoPriority},
    {{"--cpu", "99999"}, "--cpu: '99999' is no processor that this process may use"},
    {{"--cpu", "x"}, "--cpu: 'x' is no processor that this process may use"},
    {{"--load", "0"}, "--load: '0'" + kNoCount},
    {{"--load", "257"}, "--load: '257'" + kNoCount},
    {{"--follow", ""}, "--follow: '' names no file"},
    {{"--follow", "/"}, "--follow: '/' names no file"},
    {{"--follow", "/dev/null"}, "--follow: '/dev/null' is not a regular file"},
    {{"--follow", "a|b"}, "--follow: 'a|b' has a character in its name that would break a record"},
    {{"--follow", "stdin"}, "--follow: 'stdin' makes a unit that exists already: input.stdin"},
    {{"--follow", "a.b", "--follow", "x/a_b"}, "--follow: 'x/a_b' makes a unit that exists already: input.a_b"},
    {{"--state", "cycle.*"}, "--state: 'cycle.*'" + kNoRule},
    {{"--state", "cycle.*=x"}, "--state: 'cycle.*=x'" + kNoRule},
    {{"--socket", ""}, "--socket: '' is not a path of 1 to 107 characters"},
    {{"--ring", "1048575"}, "--ring: '1048575'" + kNoRing},
    {{"--ring", "1025KB"}, "--ring: '1025KB'" + kNoRing},
    {{"--ring", "99999999999GiB"}, "--ring: '99999999999GiB'" + kNoRing},
    {{"--list", "--tree"}, "--list excludes --tree"},
    {{"--self-trace", "mm"}, "--self-trace: 'mm' is not made of m, w, e, and not -"},
};

TEST(CommandLine, RefusesWrongUseWithTheReason)
{
    for (WrongUse const & use : kWrongUses) {
        CommandLine const parsed = parse(use.arguments);
        EXPECT_FALSE(parsed.options) << use.complaint;
        EXPECT_EQ(parsed.error, "tracehost: " + use.complaint);
    }
}

TEST(CommandLine, FollowsOnlyWhatCanBeFollowed)
{
    test::TemporaryFolder const folder;
    folder.append("good.log", "");
    std::string const longest(57, 'n'); // with "input." the 63 characters of a unit name
    for (auto const & [name, complaint] : {std::pair<std::string, char const *>{"good.log", ""},
                                           {"to.come", ""},
                                           {longest, ""},
                                           {longest + "n", "63 characters"},
                                           {".", "not a regular file"},
                                           {"good.log/x", "Not a directory"}}) {
        CommandLine const parsed = parse({"--follow", folder.pathOf(name).c_str()});
        EXPECT_EQ(parsed.options.has_value(), *complaint == '\0') << name;
        EXPECT_THAT(parsed.error, testing::HasSubstr(complaint));
    }
}

TEST(CommandLine, HelpNamesEachOptionAndItsDefaultInAHundredColumns)
{
    CommandLine const parsed = parse({"--help"});
    EXPECT_FALSE(parsed.options);
    for (char const * const text :
         {"--period DURATION=1ms", "--warn-above DURATION=250us", "--error-above DURATION=1ms", "--priority N=80",
          "--cpu N", "--load [N]", "--follow FILE", "--state PATTERN=FLAGS", "--self-trace FLAGS", "--list", "--tree",
          "--forget", "--save", "--root DIR", "--state-dir DIR", "--duration DURATION=20s", "--help", "--version"}) {
        EXPECT_THAT(parsed.output, testing::HasSubstr(text));
    }
    std::istringstream lines(parsed.output);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 100U) << line;
    }
}

} // namespace
} // namespace tracehost
