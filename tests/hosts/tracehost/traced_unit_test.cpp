#include "traced_unit.h"

#include "support/stream_capture.h"

#include <gmock/gmock.h>

#include <atomic>
#include <iostream>
#include <streambuf>
#include <thread>
#include <vector>

namespace tracehost {
namespace {

using common::log::test::Record;
using common::log::test::StreamCapture;
using common::log::trace::EnablingState;

constexpr EnablingState kAll{true, true, true};

void traceNumber(TracedUnit & unit, Severity severity, int number)
{
    TRACEHOST_TRACE(unit, severity, "number %d", number);
}

/// Takes a number of insertions, and refuses all later ones.
class FailingStream : public std::streambuf
{
public:
    FailingStream() : m_previous(std::cerr.rdbuf(this)) {}
    ~FailingStream() override { std::cerr.rdbuf(m_previous); }

    void failAfter(int insertions) { m_left = insertions; }

private:
    std::streamsize xsputn(char const *, std::streamsize size) override { return m_left-- > 0 ? size : 0; }
    int_type overflow(int_type character) override { return m_left-- > 0 ? character : traits_type::eof(); }

    std::streambuf * m_previous;
    int m_left = 0;
};

TEST(TracedUnit, CountsALossAndGoesOn)
{
    FailingStream stream;
    RecordAccount account;
    TracedUnit unit("a.unit", "part", kAll, account);
    std::uint64_t lost = 0;
    for (int const insertions : {0, 1, 12, 1000, 3, 1000}) {
        stream.failAfter(insertions);
        traceNumber(unit, Severity::warning, insertions);
        lost += insertions < 1000 ? 1 : 0;
        EXPECT_EQ(account.counts().lost, lost) << insertions;
        EXPECT_TRUE(std::cerr.good());
    }
    EXPECT_EQ(account.counts().warnings, 6U);
    EXPECT_EQ(account.counts().written(), 2U);
}

TEST(TracedUnit, WritesWholeRecordsFromManyThreads)
{
    constexpr int kThreads = 4;
    constexpr int kRecords = 2000;
    StreamCapture stream;
    RecordAccount account;
    std::vector<std::thread> threads;
    std::atomic<int> ready{0};
    TracedUnit loud("loud", "part", kAll, account);
    TracedUnit quiet("quiet", "part", EnablingState{false, false, true}, account);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&] {
            ++ready;
            while (ready < kThreads) { // so that none is done before the last begins
            }
            for (int record = 0; record < kRecords; ++record) {
                traceNumber(loud, Severity::message, record);
                traceNumber(quiet, Severity::warning, record);
                traceNumber(quiet, Severity::error, record);
            }
        });
    }
    for (std::thread & thread : threads) {
        thread.join();
    }
    RecordCounts const counts = account.counts();
    EXPECT_EQ(counts.messages, 1U * kThreads * kRecords);
    EXPECT_EQ(counts.warnings, 0U);
    EXPECT_EQ(counts.errors, 1U * kThreads * kRecords);
    EXPECT_EQ(counts.switchedOff, 1U * kThreads * kRecords);
    EXPECT_EQ(counts.written(), 2U * kThreads * kRecords);
    auto const records = stream.records();
    ASSERT_EQ(records.size(), counts.written());
    for (Record const & record : records) {
        bool const isLoud = record.unitName == "loud";
        EXPECT_EQ(record.title, isLoud ? "Trace message loud" : "Trace error quiet");
        EXPECT_EQ(record.functionName, "tracehost::{anonymous}::traceNumber");
        EXPECT_THAT(record.message, testing::StartsWith("number "));
    }
}

} // namespace
} // namespace tracehost
