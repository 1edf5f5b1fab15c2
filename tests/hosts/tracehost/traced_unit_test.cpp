#include "traced_unit.h"

#include "support/stream_capture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tracehost {
namespace {

using common::log::test::Record;
using common::log::test::StreamCapture;
using common::log::trace::EnablingState;
using common::log::trace::Handler;

void traceText(TracedUnit & unit, Severity severity, char const * text)
{
    TRACEHOST_TRACE(unit, severity, "text %s", text);
}

void traceTextInRealTime(TracedUnit & unit, Severity severity, char const * text)
{
    TRACEHOST_TRACE_REAL_TIME(unit, severity, "text %s", text);
}

class TracedUnitTest : public testing::Test
{
protected:
    std::vector<Record> recordsOfUnit()
    {
        auto records = stream.records();
        auto const isOther = [](Record const & record) { return record.unitName != "a.unit"; };
        records.erase(std::remove_if(records.begin(), records.end(), isOther), records.end());
        return records;
    }

    StreamCapture stream;
    RecordAccount account;
};

TEST_F(TracedUnitTest, CountsWhatBecomesOfEachCall)
{
    TracedUnit unit("a.unit", "part", EnablingState{false, true, true}, nullptr, account);
    traceText(unit, Severity::message, "off");
    traceText(unit, Severity::warning, "whole");
    traceText(unit, Severity::error, std::string(300, 'x').c_str());
    wchar_t const impossible[] = {static_cast<wchar_t>(0x110000), 0};
    TRACEHOST_TRACE(unit, Severity::error, "%ls", impossible);

    RecordCounts const counts = account.counts();
    EXPECT_EQ(counts.messages, 0U);
    EXPECT_EQ(counts.switchedOff, 1U);
    EXPECT_EQ(counts.warnings, 1U);
    EXPECT_EQ(counts.errors, 2U);
    EXPECT_EQ(counts.cut, 1U);
    EXPECT_EQ(counts.refused, 1U);
    EXPECT_EQ(recordsOfUnit().size(), 2U);
}

TEST_F(TracedUnitTest, SaysWhereItWasCalledOnBothRoads)
{
    {
        TracedUnit unit("a.unit", "part", EnablingState{true, true, true}, std::make_shared<Handler>(), account);
        traceText(unit, Severity::warning, "now");
        traceTextInRealTime(unit, Severity::error, "later");
    } // and with it the handler, whose worker has written all by then
    auto const records = recordsOfUnit();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].title, "Trace warning a.unit");
    EXPECT_EQ(records[0].functionName, "tracehost::{anonymous}::traceText");
    EXPECT_EQ(records[0].message, "text now");
    EXPECT_EQ(records[1].title, "Trace error a.unit");
    EXPECT_EQ(records[1].functionName, "tracehost::{anonymous}::traceTextInRealTime");
    EXPECT_EQ(records[1].message, "text later");
    for (Record const & record : records) {
        EXPECT_EQ(record.componentName, "part");
        EXPECT_EQ(record.fileName, "traced_unit_test.cpp");
    }
}

} // namespace
} // namespace tracehost
