#pragma once

#include "support/fake_thread_layer.h"
#include "support/stream_capture.h"

#include <common/log/trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace common::log::test {

constexpr unsigned int kQueueSize = 3200;

constexpr unsigned int kMessage = 0x080A0112;
constexpr unsigned int kWarning = 0x080E0112;
constexpr unsigned int kError = 0x080F0112;
constexpr unsigned int kInvalid = 0x080C0112;

constexpr char const * kConstructor = "common::log::trace::Handler::Handler";
constexpr char const * kDestructor = "common::log::trace::Handler::~Handler";
constexpr char const * kWorker = "common::log::trace::Handler::threadTraceHandler";

/// The records of a stream as texts that can be compared: a whole timestamp stands as T, and in the library's own
/// records a line number as L.
std::vector<std::string> comparable(std::string const & stream);

/// A record of the library about itself, in that form.
std::string ownRecord(unsigned int code, std::string const & functionName, std::string const & message,
                      std::string const & fileName = "handler.cpp");

/// A record of the unit "axis.control", in that form.
std::string unitRecord(unsigned int code, std::string const & message);

/// What a call of that unit queues.
trace::DataOfQueue traceEntry(unsigned int code, std::string const & message);
trace::DataOfQueue entryOfType(trace::DataTypeOfQueue type);

bool isSame(timespec const & left, timespec const & right);
timespec now();

/// Lets every severity of the library's reports about itself out.
void emitAll(trace::InternalTrace & internalTrace);

/// A handler whose worker runs when the test says so, under the snap name "machine".
class HandlerTest : public testing::Test
{
protected:
    HandlerTest();
    ~HandlerTest() override;

    void start() { handler = std::make_shared<trace::Handler>(); }
    /// Pushes copies of an entry until the handler holds as many as it can.
    void fill(trace::DataOfQueue const & entry, unsigned int count = kQueueSize);
    /// Runs the worker over what is queued. Returns what it wrote between its first and its last record.
    std::vector<std::string> drain();
    std::vector<std::string> written() const { return comparable(stream.text()); }

    StreamCapture stream;
    FakeThreadLayer layer;
    std::shared_ptr<trace::Handler> handler;
};

} // namespace common::log::test
