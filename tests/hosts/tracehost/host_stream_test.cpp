#include "host_process.h"

namespace tracehost::test {
namespace {

struct StreamCase
{
    char const * redirections;
    int status;
    bool hasSummary;
    bool isLost;
};

// Each run traces its start alone, and the handler its own.
TEST(HostStreams, MayBeClosedOrFull)
{
    for (StreamCase const & streams :
         {StreamCase{"<&-", 0, true, false}, StreamCase{"</dev/null", 0, true, false},
          StreamCase{">&-", 1, false, false}, StreamCase{">/dev/full", 1, false, false},
          StreamCase{"2>&-", 0, true, true}, StreamCase{"2>/dev/full", 0, true, true},
          StreamCase{"<&- 2>&-", 0, true, true}, StreamCase{"<&- >&- 2>&-", 1, false, false}}) {
        SCOPED_TRACE(streams.redirections);
        Process host(redirectedHost(streams.redirections, inputsOnly({"--duration", "20ms"})));
        host.closeInput();
        EXPECT_EQ(host.wait(), streams.status);
        if (streams.hasSummary) {
            // What tells of the loss is lost as well.
            std::uint64_t const records = 1 + kHandlerRecords + (streams.isLost ? 1 : 0);
            EXPECT_EQ(summaryValue(host.output(), "lost"), streams.isLost ? records : 0);
            EXPECT_EQ(summaryValue(host.output(), "written"), streams.isLost ? 0 : records);
            EXPECT_EQ(summaryValue(host.output(), "lines of input.stdin"), 0U);
        }
    }
}

TEST(HostStreams, KeepTheSummaryOffTheLastRecord)
{
    Process host(redirectedHost("2>&1", inputsOnly({"--duration", "20ms"})));
    EXPECT_EQ(host.wait(), 0);
    EXPECT_THAT(host.output(), testing::HasSubstr("\ncycles: "));
}

TEST(HostStreams, ReportAnInputThatCannotBeRead)
{
    Process host(redirectedHost("</", inputsOnly()));
    ASSERT_TRUE(host.waitForErrors("|Cannot read standard input: Is a directory"));
    host.send(15);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_EQ(recordsOf(host.errors(), "input.stdin").front().title, "Trace error input.stdin");
}

} // namespace
} // namespace tracehost::test
