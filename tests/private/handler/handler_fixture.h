#pragma once

#include "support/fake_thread_layer.h"
#include "support/trace_test.h"

#include <memory>
#include <string>
#include <vector>

namespace common::log::test {

constexpr unsigned int kQueueSize = 3200;

inline trace::DataOfQueue entryOfType(std::uint32_t type)
{
    trace::DataOfQueue entry;
    entry.dataType = static_cast<trace::DataTypeOfQueue>(type);
    return entry;
}

/// What a call of the unit "axis.control" queues.
inline trace::DataOfQueue traceEntry(unsigned int code, std::string const & message)
{
    trace::DataOfQueue entry = entryOfType(trace::DATA_TRACE);
    trace::TraceData & data = entry.traceData;
    data.mainDiagnosisCode = code;
    data.line = 118;
    auto const set = [](auto & field, std::string const & text) { text.copy(field, sizeof field - 1); };
    set(data.componentName, "axis");
    set(data.snapName, "machine");
    set(data.unitName, "axis.control");
    set(data.fileName, "axis.cpp");
    set(data.functionName, "Axis::start");
    set(data.message, message);
    return entry;
}

/// What the worker writes about itself.
inline std::string workerRecord(unsigned int code, std::string const & message)
{
    return ownRecord(code, "handler.cpp", "trace::Handler::threadTraceHandler", message);
}

/// A handler whose worker runs when the test says so.
class HandlerTest : public TraceTest
{
protected:
    void start() { handler = std::make_shared<trace::Handler>(); }

    /// Pushes copies of an entry, until the handler holds as many as it can.
    void fill(trace::DataOfQueue const & entry, unsigned int count = kQueueSize)
    {
        for (unsigned int number = 0; number < count; ++number) {
            ASSERT_EQ(handler->addTraceData(entry), trace::TRACE_OK) << "entry " << number;
        }
    }

    /// Runs the worker over what is queued. Returns what it wrote between its first and its last record.
    std::vector<std::string> drain()
    {
        stream.clear();
        EXPECT_EQ(handler->addTraceData(entryOfType(trace::DATA_TERMINATE)), trace::TRACE_OK);
        EXPECT_EQ(layer.runWorker(), trace::TRACE_OK);
        std::vector<std::string> records = written();
        if (records.size() < 2) {
            ADD_FAILURE() << "no first and last record of the worker";
            return records;
        }
        EXPECT_EQ(
            records.front(),
            workerRecord(kMessage, "Thread 'TraceHandler' is started with priority 10 and a thread delay of 10 ms"));
        EXPECT_EQ(records.back(), workerRecord(kMessage, "Thread 'TraceHandler' is terminated by destruction"));
        return {records.begin() + 1, records.end() - 1};
    }
    std::vector<std::string> written() const { return comparable(stream.text()); }

    FakeThreadLayer layer{&stream};
    std::shared_ptr<trace::Handler> handler;
};

} // namespace common::log::test
