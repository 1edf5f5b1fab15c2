#include "handler_fixture.h"

#include "support/record_stream.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <thread>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::string lossRecord(std::string const & count)
{
    return ownRecord(kError, kWorker,
                     "Pushing to trace queue failed. " + count +
                         " trace entries are dismissed. This trace log may not be in the right order to the other "
                         "trace logs.");
}

bool isBetween(timespec const & first, timespec const & time, timespec const & last)
{
    auto const isOrdered = [](timespec const & left, timespec const & right) {
        return left.tv_sec < right.tv_sec || (left.tv_sec == right.tv_sec && left.tv_nsec <= right.tv_nsec);
    };
    return isOrdered(first, time) && isOrdered(time, last);
}

class HandlerQueue : public HandlerTest
{
protected:
    HandlerQueue() { start(); }
};

TEST_F(HandlerQueue, LosesTheNewestAndDeliversAllOthersInOrder)
{
    for (unsigned int number = 0; number < kQueueSize; ++number) {
        ASSERT_EQ(handler->addTraceData(traceEntry(kMessage, std::to_string(number))), TRACE_OK);
    }
    EXPECT_EQ(handler->addTraceData(traceEntry(kMessage, "lost")), TRACE_QUEUE_FULL);
    EXPECT_EQ(handler->addTraceData(entryOfType(DATA_TERMINATE)), TRACE_QUEUE_FULL);
    stream.clear();
    layer.startWorker();
    // Beside the entries the worker writes its first record and the report.
    auto const limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (stream.flushes() < kQueueSize + 2 && std::chrono::steady_clock::now() < limit) {
        std::this_thread::yield();
    }
    EXPECT_EQ(handler->addTraceData(traceEntry(kMessage, "later")), TRACE_OK) << "the worker has made room";
    handler.reset();

    std::vector<std::string> const records = written();
    ASSERT_EQ(records.size(), kQueueSize + 4U);
    EXPECT_EQ(records[1], lossRecord("2")) << "ahead of what is older than the loss";
    for (unsigned int number = 0; number < kQueueSize; ++number) {
        ASSERT_EQ(records[number + 2], unitRecord(kMessage, std::to_string(number)));
    }
    EXPECT_EQ(records[kQueueSize + 2], unitRecord(kMessage, "later"));
}

TEST_F(HandlerQueue, ReportsEachLossOnce)
{
    for (unsigned int const lost : {3U, 0U, 1U}) {
        SCOPED_TRACE(lost);
        // The entry that ends the worker takes the last place, so that it needs none when the queue is full.
        fill(traceEntry(kMessage, ""), kQueueSize - 1);
        fill(entryOfType(DATA_TERMINATE), 1);
        for (unsigned int number = 0; number < lost; ++number) {
            EXPECT_EQ(handler->addTraceData(traceEntry(kMessage, "lost")), TRACE_QUEUE_FULL);
        }
        stream.clear();
        EXPECT_EQ(layer.runWorker(), TRACE_OK);
        std::vector<std::string> const records = written();
        ASSERT_EQ(records.size(), kQueueSize + 1U + (lost != 0 ? 1U : 0U));
        EXPECT_EQ(records[1], lost != 0 ? lossRecord(std::to_string(lost)) : unitRecord(kMessage, ""));
        EXPECT_EQ(records[2], unitRecord(kMessage, ""));
    }
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
        EXPECT_TRUE(isFull);
    }
    EXPECT_THAT(messages, ElementsAre(HasSubstr("is started"), "queued", HasSubstr("is terminated")))
        << "neither the loss nor what stands behind the last entry";
    handler.reset();
    EXPECT_THAT(stream.text(), Not(HasSubstr("dismissed")));
}

TEST_F(HandlerQueue, StampsTheCallersRecord)
{
    DataOfQueue const & entry = traceEntry(kMessage, "");
    entry.traceData.timestamp = {1, 1};
    for (TraceResult const expected : {TRACE_OK, TRACE_QUEUE_FULL}) {
        timespec const before = now();
        EXPECT_EQ(handler->addTraceData(entry), expected);
        EXPECT_TRUE(isBetween(before, entry.traceData.timestamp, now())) << expected;
        if (expected == TRACE_OK) {
            fill(traceEntry(kMessage, ""), kQueueSize - 1);
        }
        entry.traceData.timestamp = {1, 1};
    }
}

TEST_F(HandlerQueue, StampsNothingButTraces)
{
    for (DataTypeOfQueue const type : {DATA_NONE, DATA_TERMINATE, static_cast<DataTypeOfQueue>(3)}) {
        DataOfQueue const entry = entryOfType(type);
        entry.traceData.timestamp = {1, 1};
        EXPECT_EQ(handler->addTraceData(entry), TRACE_OK);
        EXPECT_TRUE(isSame(entry.traceData.timestamp, {1, 1})) << type;
    }
}

TEST_F(HandlerQueue, WritesTheTimeOfThePush)
{
    DataOfQueue const entry = traceEntry(kMessage, "");
    EXPECT_EQ(handler->addTraceData(entry), TRACE_OK);
    char time[28];
    convertTimestamp(entry.traceData.timestamp, nullptr, time, sizeof time);
    (void)drain();
    EXPECT_EQ(stream.records().at(1).timestamp, time);
}

TEST_F(HandlerQueue, RefusesWhileItGoesWithoutCountingOrStamping)
{
    fill(traceEntry(kMessage, "queued"), kQueueSize - 2);
    layer.whileJoining = [&, object = handler.get()] {
        stream.clear();
        for (DataTypeOfQueue const type : {DATA_TRACE, DATA_NONE, static_cast<DataTypeOfQueue>(3)}) {
            DataOfQueue const entry = entryOfType(type);
            entry.traceData.timestamp = {1, 1};
            EXPECT_EQ(object->addTraceData(entry), TRACE_SHUTTING_DOWN) << type;
            EXPECT_TRUE(isSame(entry.traceData.timestamp, {1, 1})) << type;
        }
        EXPECT_EQ(object->addTraceData(entryOfType(DATA_TERMINATE)), TRACE_OK) << "this type alone still passes";
        // The queue is full by now, and still nothing that is refused counts as lost.
        EXPECT_EQ(object->addTraceData(entryOfType(DATA_TRACE)), TRACE_SHUTTING_DOWN);
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
