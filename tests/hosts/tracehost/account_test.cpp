#include "loss_watch.h"
#include "summary.h"

#include "support/stream_capture.h"

#include <gmock/gmock.h>

namespace tracehost {
namespace {

using common::log::test::StreamCapture;
using namespace common::log::trace;

TEST(AccountTest, AddsUpOnlyIfNoRecordIsMissing)
{
    Account account;
    account.calls.messages = 7;
    account.calls.warnings = 2;
    account.calls.errors = 1;
    account.calls.refused = 3;
    account.recordsOfUnits = 7;
    account.output.records = 9; // two of the library
    account.output.written = 8;
    account.output.lost[1] = 1;
    EXPECT_TRUE(account.addsUp());
    --account.recordsOfUnits;
    EXPECT_FALSE(account.addsUp()) << "a record that never came to the stream";
    ++account.recordsOfUnits;
    --account.output.written;
    EXPECT_FALSE(account.addsUp()) << "a record that was neither written nor lost";
}

TEST(LossWatchTest, TellsOfEachLossOnce)
{
    StreamCapture stream;
    CallAccount calls;
    CountedLog unit("host.loss", nullptr, calls);
    unit.setEnablingState(true);
    for (LossWatch::Losses const losses : {LossWatch::Losses{3, 2}, {0, 0}}) {
        LossWatch watch(unit, [losses] { return losses; });
        watch.start();
        watch.stop(); // and looks
        watch.thread().join();
    }
    auto const records = stream.records();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].title, "Trace warning host.loss");
    EXPECT_EQ(records[0].message, "Lost since the last word of it: 3 calls that were refused, 2 records that the error "
                                  "stream did not take");
}

} // namespace
} // namespace tracehost
