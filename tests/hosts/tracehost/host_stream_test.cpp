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

class HostStreams : public testing::TestWithParam<StreamCase>
{
};

// Each run traces its start alone, and the handler its own.
TEST_P(HostStreams, MayBeClosedOrFull)
{
    Process host(redirectedHost(GetParam().redirections, inputsOnly({"--duration", "20ms"})));
    host.closeInput();
    EXPECT_EQ(host.wait(), GetParam().status);
    if (GetParam().hasSummary) {
        // What tells of the loss is lost as well.
        std::uint64_t const records = 1 + kHandlerRecords + (GetParam().isLost ? 1 : 0);
        EXPECT_EQ(summaryValue(host.output(), "lost"), GetParam().isLost ? records : 0);
        EXPECT_EQ(summaryValue(host.output(), "written"), GetParam().isLost ? 0 : records);
        EXPECT_EQ(summaryValue(host.output(), "lines of input.stdin"), 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(Redirected, HostStreams,
                         testing::Values(StreamCase{"<&-", 0, true, false}, StreamCase{"</dev/null", 0, true, false},
                                         StreamCase{">&-", 1, false, false}, StreamCase{">/dev/full", 1, false, false},
                                         StreamCase{"2>&-", 0, true, true}, StreamCase{"2>/dev/full", 0, true, true},
                                         StreamCase{"<&- 2>&-", 0, true, true},
                                         StreamCase{"<&- >&- 2>&-", 1, false, false}),
                         [](auto const & tested) {
                             std::string name = tested.param.redirections;
                             std::replace(name.begin(), name.end(), '<', 'I');
                             std::replace(name.begin(), name.end(), '>', 'O');
                             return caseName(tested.index, {name});
                         });

TEST(HostStreamsTogether, KeepTheSummaryOffTheLastRecord)
{
    Process host(redirectedHost("2>&1", inputsOnly({"--duration", "20ms"})));
    EXPECT_EQ(host.wait(), 0);
    EXPECT_THAT(host.output(), testing::HasSubstr("\ncycles: "));
}

TEST(HostStreamsTogether, ReportAnInputThatCannotBeRead)
{
    Process host(redirectedHost("</", inputsOnly()));
    ASSERT_TRUE(host.waitForErrors("|Cannot read standard input: Is a directory"));
    host.send(15);
    EXPECT_EQ(host.wait(), 0);
    EXPECT_EQ(recordsOf(host.errors(), "input.stdin").front().title, "Trace error input.stdin");
}

} // namespace
} // namespace tracehost::test
