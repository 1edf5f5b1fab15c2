#include "handler_fixture.h"

#include "support/process_state.h"

#include <algorithm>
#include <new>
#include <tuple>
#include <utility>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::string lossRecord(unsigned int count)
{
    return workerRecord(kError, "Pushing to trace queue failed. " + std::to_string(count) +
                                    " trace entries are dismissed. This trace "
                                    "log may not be in the right order to the "
                                    "other trace logs.");
}

auto timeOf(timespec const & time) { return std::make_tuple(time.tv_sec, time.tv_nsec); }

class HandlerQueue : public HandlerTest
{
protected:
    HandlerQueue() { start(); }
};

TEST_F(HandlerQueue, LosesTheNewestAndDeliversAllOthersInOrderBehindOneReport)
{
    for (unsigned int number = 0; number < kQueueSize; ++number) {
        fill(traceEntry(kMessage, std::to_string(number)), 1);
    }
    EXPECT_EQ(handler->addTraceData(traceEntry(kMessage, "lost")), TRACE_QUEUE_FULL);
    EXPECT_EQ(handler->addTraceData(entryOfType(DATA_TERMINATE)), TRACE_QUEUE_FULL);
    stream.clear();
    layer.startWorker();
    // Beside the entries the worker writes its first record and the report.
    EXPECT_TRUE(waitUntil([&] { return stream.flushes() >= kQueueSize + 2; }));
    EXPECT_EQ(handler->addTraceData(traceEntry(kMessage, "later")), TRACE_OK) << "the worker has made room";
    handler.reset();

    std::vector<std::string> const records = written();
    ASSERT_EQ(records.size(), kQueueSize + 4U);
    EXPECT_EQ(records[1], lossRecord(2)) << "ahead of what is older than the loss";
    for (unsigned int number = 0; number < kQueueSize; ++number) {
        ASSERT_EQ(records[number + 2], unitRecord(kMessage, std::to_string(number)));
    }
    EXPECT_EQ(records[kQueueSize + 2], unitRecord(kMessage, "later"));
}

TEST_F(HandlerQueue, KeepsSilentOverALossBehindTheLastLook)
{
    fill(traceEntry(kMessage, "queued"), 1);
    fill(entryOfType(DATA_TERMINATE), 1);
    std::vector<std::string> messages;
    {
        bool isFull = false;
        RecordStream const records([&](std::string_view record) {
            messages.push_back(parseRecord(std::string(record)).message);
            while (messages.back() == "queued" && !isFull) {
                isFull = handler->addTraceData(traceEntry(kMessage, "late")) == TRACE_QUEUE_FULL;
            }
        });
        EXPECT_EQ(layer.runWorker(), TRACE_OK);
    }
    EXPECT_THAT(messages, ElementsAre(HasSubstr("is started"), "queued", HasSubstr("is terminated")))
        << "neither the loss nor what stands behind the last entry";
    handler.reset();
    EXPECT_THAT(stream.text(), Not(HasSubstr("dismissed")));
}

TEST_F(HandlerQueue, StampsTheCallersRecordAndWritesThatTime)
{
    DataOfQueue const & entry = traceEntry(kMessage, "");
    timespec const before = Clock(CLOCK_ID_WALL).getTimestamp();
    fill(entry, 1);
    char time[28];
    convertTimestamp(entry.traceData.timestamp, nullptr, time, sizeof time);
    (void)drain();
    EXPECT_EQ(stream.records().at(1).timestamp, time);
    fill(traceEntry(kMessage, ""));
    EXPECT_GE(timeOf(entry.traceData.timestamp), timeOf(before));
    EXPECT_LE(timeOf(entry.traceData.timestamp), timeOf(Clock(CLOCK_ID_WALL).getTimestamp()));
    entry.traceData.timestamp = {1, 1};
    EXPECT_EQ(handler->addTraceData(entry), TRACE_QUEUE_FULL);
    EXPECT_GE(timeOf(entry.traceData.timestamp), timeOf(before)) << "also of one that is refused";
}

TEST_F(HandlerQueue, WritesFinishedTextsAndInPlaceOfAnUnknownTypeAReport)
{
    std::string const text = "100%s %n %d|" + std::string(243, 'x');
    for (auto const & [type, number] : {std::pair<std::uint32_t, char const *>{0, "0"}, {3, "3"}, {~0U, "-1"}}) {
        DataOfQueue const entry = entryOfType(type);
        fill(entry, 1);
        EXPECT_EQ(timeOf(entry.traceData.timestamp), timeOf({0, 0})) << "no trace, no time";
        fill(traceEntry(kMessage, text), 1);
        EXPECT_THAT(drain(), ElementsAre(workerRecord(kError, std::string("Unknown data type of queue: ") + number),
                                         unitRecord(kMessage, text)));
    }
}

TEST_F(HandlerQueue, RefusesWhileItGoesWithoutCountingOrStamping)
{
    fill(traceEntry(kMessage, "queued"), kQueueSize - 2);
    layer.whileJoining = [&, object = handler.get()] {
        stream.clear();
        // Behind the second entry of the end, the only type that still passes, the
        // queue is full.
        EXPECT_EQ(object->addTraceData(entryOfType(DATA_TERMINATE)), TRACE_OK);
        for (std::uint32_t const type : {std::uint32_t{DATA_TRACE}, std::uint32_t{DATA_NONE}, 3U}) {
            DataOfQueue const entry = entryOfType(type);
            EXPECT_EQ(object->addTraceData(entry), TRACE_SHUTTING_DOWN) << type;
            EXPECT_EQ(timeOf(entry.traceData.timestamp), timeOf({0, 0})) << type;
        }
        EXPECT_EQ(layer.runWorker(), TRACE_OK);
    };
    handler.reset();
    EXPECT_THAT(stream.text(), Not(HasSubstr("dismissed")));
    EXPECT_EQ(written().size(), kQueueSize) << "the worker's two records and those that were queued before";
}

TEST(DataOfQueueValue, IsZeroInEveryByte)
{
    alignas(DataOfQueue) unsigned char memory[sizeof(DataOfQueue)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0xAA));
    new (memory) DataOfQueue;
    EXPECT_THAT(memory, testing::Each(0));
}

} // namespace

} // namespace common::log::test
