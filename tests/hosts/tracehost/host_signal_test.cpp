#include "host_process.h"

#include <csignal>

namespace tracehost::test {
namespace {

using testing::AnyOf;

/// More records than the pipe of a reader that has stopped takes.
std::string floodOfLines()
{
    std::string text;
    for (int line = 0; line < 4000; ++line) {
        text += std::to_string(line) + "\n";
    }
    return text;
}

class HostEnd : public testing::TestWithParam<int>
{
};

TEST_P(HostEnd, IsAtOnceByASecondSignal)
{
    Process host(hostCommand(inputsOnly()));
    ASSERT_TRUE(host.waitForErrors(kStarted));
    host.setErrorReader(Process::Reader::stalls);
    host.write(floodOfLines());
    host.send(GetParam());
    host.send(GetParam() == SIGINT ? SIGTERM : SIGINT);
    EXPECT_THAT(host.wait(), AnyOf(128 + SIGINT, 128 + SIGTERM)); // whichever was taken first
    EXPECT_EQ(host.output(), "");
}

TEST_P(HostEnd, DoesNotDependOnTheReaderOfTheRecords)
{
    Process host(hostCommand(inputsOnly()));
    ASSERT_TRUE(host.waitForErrors(kStarted));
    host.setErrorReader(Process::Reader::stalls);
    host.write(floodOfLines());
    host.send(GetParam());
    EXPECT_EQ(host.wait(), 1);
    EXPECT_THAT(host.output(), testing::HasSubstr("The error stream takes nothing"));
    // What counts as written has got through, whole; behind it stands the start of another one. Ahead of the lines
    // stand two records of the handler and one of the start.
    std::uint64_t const written = summaryValue(host.output(), "written");
    std::vector<std::string> const lines = common::log::test::splitLines(host.errors());
    ASSERT_GE(lines.size(), written);
    EXPECT_EQ(common::log::test::parseRecord(lines[written - 1]).message, std::to_string(written - 4));
}

INSTANTIATE_TEST_SUITE_P(Signal, HostEnd, testing::Values(SIGTERM, SIGINT),
                         [](auto const & tested) { return tested.param == SIGTERM ? "SIGTERM" : "SIGINT"; });

TEST(HostSignal, CountsWhatNobodyReads)
{
    Process host(hostCommand(inputsOnly()));
    ASSERT_TRUE(host.waitForErrors(kStarted));
    host.setErrorReader(Process::Reader::closes);
    host.write("1\n2\n3\n");
    host.closeInput();
    host.send(SIGTERM);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_EQ(summaryValue(host.output(), "lost"), 3U + 1U + 1U); // the end of the worker, and what tells of the loss
    EXPECT_EQ(summaryValue(host.output(), "messages"), 4U);
    EXPECT_EQ(summaryValue(host.output(), "lines of input.stdin"), 3U);
}

} // namespace
} // namespace tracehost::test
