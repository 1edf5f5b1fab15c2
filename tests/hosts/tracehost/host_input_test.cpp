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

TEST(HostInput, MakesOneRecordOfEachLine)
{
    Process host(hostCommand(inputsOnly()));
    host.write("plain\n<3>bad\n<4>odd\r\n<6>good\n\n|a|b|%s%n\nlast");
    host.closeInput();
    ASSERT_TRUE(host.waitForErrors("|last")) << host.errors();
    host.send(SIGTERM);
    EXPECT_EQ(host.wait(), 0);

    struct
    {
        char const * code;
        char const * title;
        char const * message;
    } const expected[] = {
        {"080A0112", "Trace message input.stdin", "plain"}, {"080F0112", "Trace error input.stdin", "bad"},
        {"080E0112", "Trace warning input.stdin", "odd"},   {"080A0112", "Trace message input.stdin", "good"},
        {"080A0112", "Trace message input.stdin", ""},      {"080A0112", "Trace message input.stdin", "|a|b|%s%n"},
        {"080A0112", "Trace message input.stdin", "last"}};
    std::vector<Record> const records = recordsOf(host.errors(), "input.stdin");
    ASSERT_EQ(records.size(), std::size(expected));
    for (std::size_t index = 0; index < records.size(); ++index) {
        Record const & record = records[index];
        SCOPED_TRACE(record.message);
        EXPECT_THAT(record.timestamp, testing::MatchesRegex("....-..-..T..:..:..\\.......Z"));
        EXPECT_EQ(record.code, expected[index].code);
        EXPECT_EQ(record.title, expected[index].title);
        EXPECT_EQ(record.message, expected[index].message);
        EXPECT_EQ(record.componentName, "input");
        EXPECT_EQ(record.snapName, "unknownSnap");
        EXPECT_EQ(record.fileName, "inputs.cpp");
        EXPECT_EQ(record.functionName, "tracehost::Inputs::traceLine");
        EXPECT_GT(std::atoi(record.line.c_str()), 0);
    }
    EXPECT_EQ(summaryValue(host.output(), "lines of input.stdin"), 7U);
    EXPECT_EQ(summaryValue(host.output(), "messages"), 5U + 1U); // one of the start
    EXPECT_EQ(summaryValue(host.output(), "errors"), 1U);
    EXPECT_EQ(summaryValue(host.output(), "written"), common::log::test::parseRecords(host.errors()).size());
    EXPECT_EQ(summaryValue(host.output(), "lost"), 0U);
}

TEST(HostInput, PassesAnyBytes)
{
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte) {
        bytes += byte == '\n' ? "" : std::string(1, static_cast<char>(byte));
    }
    Process host(hostCommand(inputsOnly()));
    host.write(bytes + "\n" + std::string(1, '\0') + "zero\nend\n");
    ASSERT_TRUE(host.waitForErrors("|end")) << host.errors();
    host.send(SIGTERM);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_THAT(messagesOf(host.errors(), "input.stdin"), ElementsAre(bytes, "\\0zero", "end"));
}

TEST(HostInput, CutsAndCountsWhatARecordDoesNotTake)
{
    std::string const longest(255, 'x');
    Process host(hostCommand(inputsOnly()));
    host.write(longest + "\n" + longest + "y\n" + std::string(3'000'000, 'x') + "\nend\n");
    ASSERT_TRUE(host.waitForErrors("|end")) << host.errors().size();
    host.send(SIGTERM);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_THAT(messagesOf(host.errors(), "input.stdin"), ElementsAre(longest, longest, longest, "end"));
    auto const reports = recordsOf(host.errors(), "common.log.trace");
    EXPECT_EQ(std::count_if(reports.begin(), reports.end(),
                            [](Record const & report) { return report.title == "Trace error common.log.trace"; }),
              2); // one for each cut
    EXPECT_EQ(summaryValue(host.output(), "cut"), 2U);
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

TEST(HostInput, FollowsFilesThroughTheirLife)
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
    folder.rename("app.log", "app.log.1");
    folder.append("app.log.1", "two\n");
    folder.append("app.log", "three\n");
    ASSERT_TRUE(host.waitForErrors("|three"));
    folder.truncate("app.log");
    folder.append("app.log", "4\n");
    ASSERT_TRUE(host.waitForErrors("|4"));
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
    EXPECT_THAT(messagesOf(host.errors(), "input.app_log"), ElementsAre("one", "two", "three", "4", "half", "five"));
    EXPECT_THAT(messagesOf(host.errors(), "input.late"), ElementsAre("first"));
    EXPECT_EQ(recordsOf(host.errors(), "input.app_log").front().title, "Trace error input.app_log");
    EXPECT_EQ(summaryValue(host.output(), "lines of input.app_log"), 6U);
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
