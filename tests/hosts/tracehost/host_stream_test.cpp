#include "host_process.h"

namespace tracehost::test {
namespace {

struct StreamCase
{
    char const * redirections;
    int status;
    bool hasSummary;
    std::uint64_t lost;
};

class HostStreams : public testing::TestWithParam<StreamCase>
{
};

// Each run traces the start alone, or loses it.
TEST_P(HostStreams, MayBeClosedOrFull)
{
    Process host(redirectedHost(GetParam().redirections, inputsOnly({"--duration", "20ms"})));
    host.closeInput();
    EXPECT_EQ(host.wait(), GetParam().status);
    if (GetParam().hasSummary) {
        EXPECT_EQ(summaryValue(host.output(), "lost"), GetParam().lost);
        EXPECT_EQ(summaryValue(host.output(), "written"), 1 - GetParam().lost);
        EXPECT_EQ(summaryValue(host.output(), "lines of input.stdin"), 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(Redirected, HostStreams,
                         testing::Values(StreamCase{"<&-", 0, true, 0}, StreamCase{"</dev/null", 0, true, 0},
                                         StreamCase{">&-", 1, false, 0}, StreamCase{">/dev/full", 1, false, 0},
                                         StreamCase{"2>&-", 0, true, 1}, StreamCase{"2>/dev/full", 0, true, 1},
                                         StreamCase{"<&- 2>&-", 0, true, 1}, StreamCase{"<&- >&- 2>&-", 1, false, 0}),
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
