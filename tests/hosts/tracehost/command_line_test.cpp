#include "command_line.h"

#include "temporary_folder.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <thread>
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
    CommandLine const parsed =
        parse({"--period", "2ms", "--warn-above=0us", "--error-above", "3s", "--priority", "0", "--load", "3",
               "--follow", "x/a.b.log", "--follow=y=z", "--state", "input.*=-", "--state", "*=we", "--duration", "0"});
    ASSERT_TRUE(parsed.options) << parsed.error;
    EXPECT_EQ(parsed.options->period, 2ms);
    EXPECT_EQ(parsed.options->warnAbove, 0us);
    EXPECT_EQ(parsed.options->errorAbove, 3s);
    EXPECT_EQ(parsed.options->priority, 0);
    EXPECT_EQ(parsed.options->loadThreads, 3U);
    EXPECT_EQ(parsed.options->duration, 0s);
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

TEST(CommandLine, FollowsOnlyWhatCanBeFollowed)
{
    test::TemporaryFolder const folder;
    folder.append("good.log", "");
    EXPECT_TRUE(parse({"--follow", folder.pathOf("good.log").c_str()}).options);
    EXPECT_TRUE(parse({"--follow", folder.pathOf("to.come").c_str()}).options);
    std::string const longest(57, 'n'); // with "input." the 63 characters of a unit name
    EXPECT_TRUE(parse({"--follow", folder.pathOf(longest).c_str()}).options);
    EXPECT_THAT(parse({"--follow", folder.pathOf(longest + "n").c_str()}).error, testing::HasSubstr("63 characters"));
    EXPECT_THAT(parse({"--follow", folder.pathOf(".").c_str()}).error, testing::HasSubstr("not a regular file"));
    EXPECT_THAT(parse({"--follow", folder.pathOf("good.log/x").c_str()}).error, testing::HasSubstr("Not a directory"));
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
