#include "host_process.h"
#include "temporary_folder.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace tracehost::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

TEST(HostInput, MakesOneRecordOfEachLineAndCountsWhatARecordDoesNotTake)
{
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) {
        bytes += byte == '\n' ? "" : std::string(1, static_cast<char>(byte));
    }
    std::string const longest(255, 'x');
    struct Line
    {
        std::string sent;
        std::string message;
        char const * severity = "080A0112 Trace message input.stdin";
    };
    Line const lines[] = {{"plain\n", "plain"},
                          {"<3>bad\n", "bad", "080F0112 Trace error input.stdin"},
                          {"<4>odd\r\n", "odd", "080E0112 Trace warning input.stdin"},
                          {"<6>good\n", "good"},
                          {"\n", ""},
                          {"|a|b|%s%n\n", "|a|b|%s%n"},
                          {bytes + "\n", bytes},
                          {std::string("\0zero\n", 6), "\\0zero"},
                          {longest + "\n", longest},
                          {longest + "y\n", longest},
                          {std::string(3'000'000, 'x') + "\n", longest},
                          {"last", "last"}};
    Process host(hostCommand(inputsOnly()));
    ASSERT_TRUE(host.waitForErrors(kStarted));
    host.send(SIGHUP); // which is for followed files, and ends nothing
    host.send(SIGHUP);
    for (Line const & line : lines) {
        host.write(line.sent);
    }
    host.closeInput();
    ASSERT_TRUE(host.waitForErrors("|last")) << host.errors().size();
    host.send(SIGTERM);
    EXPECT_EQ(host.wait(), 0);

    std::vector<Record> const records = recordsOf(host.errors(), "input.stdin");
    ASSERT_EQ(records.size(), std::size(lines));
    for (std::size_t index = 0; index < records.size(); ++index) {
        Record const & record = records[index];
        SCOPED_TRACE(record.message);
        EXPECT_THAT(record.timestamp, testing::MatchesRegex("....-..-..T..:..:..\\.......Z"));
        EXPECT_EQ(record.code + " " + record.title, lines[index].severity);
        EXPECT_EQ(record.message, lines[index].message);
        EXPECT_EQ(record.componentName, "input");
        EXPECT_EQ(record.snapName, "unknownSnap");
        EXPECT_EQ(record.fileName, "inputs.cpp");
        EXPECT_EQ(record.functionName, "tracehost::Inputs::traceLine");
        EXPECT_GT(std::atoi(record.line.c_str()), 0);
    }
    auto const reports = recordsOf(host.errors(), "common.log.trace");
    EXPECT_EQ(std::count_if(reports.begin(), reports.end(),
                            [](Record const & report) { return report.title == "Trace error common.log.trace"; }),
              2); // one for each cut
    EXPECT_EQ(summaryValue(host.output(), "lines of input.stdin"), 12U);
    EXPECT_EQ(summaryValue(host.output(), "messages"), 10U + 1U); // one of the start
    EXPECT_EQ(summaryValue(host.output(), "errors"), 1U);
    EXPECT_EQ(summaryValue(host.output(), "cut"), 2U);
    EXPECT_EQ(summaryValue(host.output(), "written"), common::log::test::parseRecords(host.errors()).size());
    EXPECT_EQ(summaryValue(host.output(), "lost"), 0U);
}

TEST(HostInput, TracesWhatWasSentAheadOfTheEnd)
{
    std::string text;
    std::vector<std::string> expected;
    for (int line = 0; line < 3000; ++line) {
        expected.push_back("line " + std::to_string(line));
        text += expected.back() + "\n";
    }
    TemporaryFolder const folder;
    folder.append("app.log", "");
    Process host(hostCommand(inputsOnly({"--follow", folder.pathOf("app.log")})));
    ASSERT_TRUE(host.waitForErrors(kStarted));
    // The host is kept busy with the first lines, so that it has not read the others when the signal comes.
    host.setErrorReader(Process::Reader::stalls);
    host.write(text);
    ASSERT_TRUE(host.waitUntilErrorsAreStalled());
    folder.append("app.log", text + "no end");
    host.write(text + "no end");
    host.send(SIGTERM);
    host.setErrorReader(Process::Reader::reads);
    EXPECT_EQ(host.wait(), 0);
    std::vector<std::string> twice = expected;
    twice.insert(twice.end(), expected.begin(), expected.end());
    twice.emplace_back("no end");
    expected.emplace_back("no end");
    EXPECT_THAT(messagesOf(host.errors(), "input.stdin"), ElementsAreArray(twice));
    EXPECT_THAT(messagesOf(host.errors(), "input.app_log"), ElementsAreArray(expected));
}

TEST(HostInput, FollowsFilesAndLetsThemGoAtSighup)
{
    TemporaryFolder const folder;
    folder.append("app.log", "old\n");
    Process host(hostCommand(
        inputsOnly({"--follow", folder.pathOf("app.log"), "--follow", folder.pathOf("late"), "--state", "host.*=m"})));
    ASSERT_TRUE(host.waitForErrors(kStarted));
    folder.append("app.log", "<3>one\n");
    ASSERT_TRUE(host.waitForErrors("|one"));
    folder.append("late", "first\n");
    ASSERT_TRUE(host.waitForErrors("|first"));
    // SIGHUP lets go of the old file even though nothing stands in the new one: its last line is complete by that.
    folder.append("app.log", "half");
    folder.rename("app.log", "app.log.1");
    folder.append("app.log", "");
    host.send(SIGHUP);
    ASSERT_TRUE(host.waitForErrors("|half"));
    folder.append("app.log", "five\n");
    ASSERT_TRUE(host.waitForErrors("|five"));
    host.send(SIGINT);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_THAT(messagesOf(host.errors(), "input.app_log"), ElementsAre("one", "half", "five"));
    EXPECT_THAT(messagesOf(host.errors(), "input.late"), ElementsAre("first"));
    EXPECT_EQ(recordsOf(host.errors(), "input.app_log").front().title, "Trace error input.app_log");
    EXPECT_EQ(summaryValue(host.output(), "lines of input.app_log"), 3U);
    EXPECT_EQ(summaryValue(host.output(), "lines of input.late"), 1U);
}

TEST(HostInput, SwitchesUnitsByPatternAndCountsWhatIsOff)
{
    Process host(hostCommand({"--state", "input.*=e", "--state", "*=-"}));
    host.write("a\n<4>b\n<3>c\n");
    ASSERT_TRUE(host.waitForErrors("|c"));
    host.send(SIGTERM);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_THAT(messagesOf(host.errors(), "input.stdin"), ElementsAre("c"));
    EXPECT_EQ(summaryValue(host.output(), "written"), 1U + kHandlerRecords);
    EXPECT_GE(summaryValue(host.output(), "switched off"), 3U); // two lines and the start
    EXPECT_EQ(summaryValue(host.output(), "lines of input.stdin"), 3U);
}

TEST(HostInput, LeavesATerminalAlone)
{
    int const terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_TRUE(terminal >= 0 && ::grantpt(terminal) == 0 && ::unlockpt(terminal) == 0);
    int const user = ::open(::ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(user, 0);
    Process host(hostCommand({"--duration", "10ms"}), user);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_THAT(host.output(), testing::Not(testing::HasSubstr("input.stdin")));
    (void)::close(user);
    (void)::close(terminal);
}

} // namespace
} // namespace tracehost::test
