#include "host_process.h"

#include <csignal>
#include <unistd.h>

namespace tracehost::test {
namespace {

std::size_t countOf(std::string const & errors, std::string const & text)
{
    std::size_t count = 0;
    for (auto at = errors.find(text); at != std::string::npos; at = errors.find(text, at + 1)) {
        ++count;
    }
    return count;
}

TEST(HostCycle, WarnsOfEachLateCycleAndSumsUpEachSecond)
{
    Process host(hostCommand({"--period", "20ms", "--warn-above", "0us", "--error-above", "1h"}));
    ASSERT_TRUE(host.waitForErrors([](std::string const & errors) { return countOf(errors, "|cycles ") >= 2; }));
    host.send(SIGTERM);
    EXPECT_EQ(host.wait(), 0);

    // On a busy machine some cycles are missed, which is an error whatever the limit.
    std::uint64_t const late = summaryValue(host.output(), "warnings") + summaryValue(host.output(), "errors");
    std::vector<Record> const wakeups = recordsOf(host.errors(), "cycle.wakeup");
    EXPECT_EQ(wakeups.size(), late);
    EXPECT_EQ(summaryValue(host.output(), "cycles"), late);
    for (Record const & record : wakeups) {
        bool const isMissed = record.title == "Trace error cycle.wakeup";
        EXPECT_EQ(record.title, isMissed ? "Trace error cycle.wakeup" : "Trace warning cycle.wakeup");
        EXPECT_THAT(record.message,
                    testing::ContainsRegex(isMissed ? "^Woke [0-9.]+ us late, missed cycles: [1-9][0-9]*$"
                                                    : "^Woke [0-9.]+ us late, limit 0.0 us$"));
        EXPECT_EQ(record.componentName, "cycle");
        EXPECT_EQ(record.fileName, "cycle.cpp");
        EXPECT_EQ(record.functionName, "tracehost::Cycle::traceLateness");
    }
    for (Record const & record : recordsOf(host.errors(), "cycle.summary")) {
        EXPECT_EQ(record.title, "Trace message cycle.summary");
        EXPECT_THAT(record.message, testing::ContainsRegex("^cycles [0-9]+, p50 [0-9.]+ us, p99 [0-9.]+ us, "
                                                           "p99.9 [0-9.]+ us, worst [0-9.]+ us$"));
        EXPECT_EQ(record.functionName, "tracehost::Cycle::traceSummary");
    }
}

TEST(HostCycle, CountsWhatItMissesAndEndsInAFloodOfRecords)
{
    // Each cycle writes a record, for which a period is too short.
    Process host(hostCommand({"--period", "10us", "--warn-above", "0us", "--error-above", "0us", "--load"}));
    ASSERT_TRUE(host.waitForErrors([](std::string const & errors) { return countOf(errors, "missed") >= 1000; }));
    host.send(SIGTERM);
    EXPECT_EQ(host.wait(), 0);
    std::uint64_t missed = 0;
    std::string const name = "missed cycles: ";
    for (std::string const & message : messagesOf(host.errors(), "cycle.wakeup")) {
        auto const at = message.find(name);
        missed += at == std::string::npos ? 0 : std::stoull(message.substr(at + name.size()));
    }
    EXPECT_EQ(summaryValue(host.output(), "missed"), missed);
    EXPECT_EQ(summaryValue(host.output(), "errors"), recordsOf(host.errors(), "cycle.wakeup").size());
}

TEST(HostCycle, EndsByItselfAndAheadOfALongPeriod)
{
    Process host(hostCommand({"--duration", "10ms", "--period", "1m"}));
    EXPECT_EQ(host.wait(), 0);
    EXPECT_EQ(summaryValue(host.output(), "cycles"), 0U);
    EXPECT_THAT(host.output(), testing::HasSubstr("lateness in us: p50 "));
}

TEST(HostCycle, GoesOnWithoutTheRightToRealTime)
{
    // Root keeps its rights across a limit, so it has to give them up first.
    Arguments command{"/bin/sh", "-c", "ulimit -r 0; ulimit -l 64; exec \"$@\"", "sh"};
    if (::geteuid() == 0) {
        command.insert(command.end(), {"setpriv", "--bounding-set=-sys_nice,-ipc_lock"});
    }
    command.insert(command.end(), {TRACEHOST_PROGRAM, "--priority", "42", "--duration", "0", "--warn-above", "0us",
                                   "--state-dir", kNoStates});
    Process host(command);
    ASSERT_TRUE(host.waitForErrors("|Woke ")) << host.errors();
    host.send(SIGTERM);
    EXPECT_EQ(host.wait(), 0);
    std::vector<Record> const records = recordsOf(host.errors(), "host.start");
    ASSERT_EQ(records.size(), 2U) << host.errors();
    EXPECT_EQ(records[0].title, "Trace warning host.start");
    EXPECT_THAT(records[0].message,
                testing::StartsWith("Running without real-time priority 42 (Operation not permitted)"));
    EXPECT_EQ(records[0].functionName, "tracehost::traceStart");
    EXPECT_EQ(records[1].title, "Trace message host.start");
    EXPECT_GT(summaryValue(host.output(), "cycles"), 0U);
}

// Some 10,000 records, of which the pipe and the queue take less than 4,000.
TEST(HostCycle, IsNotHeldUpByAReaderThatStallsForFiveSeconds)
{
    Process host(hostCommand({"--period", "500us", "--warn-above", "0us", "--duration", "5s"}));
    host.setErrorReader(Process::Reader::stalls);
    EXPECT_EQ(host.wait(), 1); // what is queued cannot be written
    std::uint64_t const cycles = summaryValue(host.output(), "cycles");
    EXPECT_GT(cycles, 5000U);
    EXPECT_LT(summaryValue(host.output(), "missed"), cycles);
    std::uint64_t const calls = summaryValue(host.output(), "warnings") + summaryValue(host.output(), "errors");
    EXPECT_GE(calls, cycles);
    EXPECT_GT(summaryValue(host.output(), "refused"), 0U);
}

} // namespace
} // namespace tracehost::test
