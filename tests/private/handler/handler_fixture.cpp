#include "handler_fixture.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace common::log::test {

using namespace common::log::trace;

namespace {

constexpr char const * kOwnUnit = "common.log.trace";

std::string codeText(unsigned int code)
{
    char text[16];
    (void)std::snprintf(text, sizeof text, "%08X", code);
    return text;
}

std::string titleStart(unsigned int code)
{
    unsigned int const codeClass = code >> 16U & 0xFU;
    return codeClass == 0xA ? "Trace message " : codeClass == 0xE ? "Trace warning " : "Trace error ";
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

bool isNumber(std::string const & text)
{
    return !text.empty() && text.front() != '0' && std::all_of(text.begin(), text.end(), isDigit);
}

bool isTime(std::string const & text)
{
    // Whatever the Z is: the last tick of a second has a seventh digit there.
    std::string const form = "0000-00-00T00:00:00.000000";
    return text.size() == form.size() + 1 &&
           std::equal(form.begin(), form.end(), text.begin(), [](char expected, char character) {
               return expected == '0' ? isDigit(character) : character == expected;
           });
}

template <std::size_t Size>
void set(char (&field)[Size], std::string const & text)
{
    ASSERT_LT(text.size(), Size);
    std::memcpy(field, text.c_str(), text.size() + 1);
}

} // namespace

std::vector<std::string> comparable(std::string const & stream)
{
    std::vector<std::string> texts;
    for (Record record : parseRecords(stream)) {
        if (isTime(record.timestamp)) {
            record.timestamp = "T";
        }
        if (record.unitName == kOwnUnit && isNumber(record.line)) {
            record.line = "L";
        }
        std::string text = record.timestamp;
        for (std::string const & field :
             {record.reserved1, record.code, record.title, record.reserved2, record.reserved3, record.componentName,
              record.snapName, record.unitName, record.fileName, record.functionName, record.line, record.message}) {
            text += "|" + field;
        }
        texts.push_back(text);
    }
    return texts;
}

std::string ownRecord(unsigned int code, std::string const & functionName, std::string const & message,
                      std::string const & fileName)
{
    return "T||" + codeText(code) + "|" + titleStart(code) + kOwnUnit + "|||trace|machine|" + kOwnUnit + "|" +
           fileName + "|" + functionName + "|L|" + message;
}

std::string unitRecord(unsigned int code, std::string const & message)
{
    return "T||" + codeText(code) + "|" + titleStart(code) +
           "axis.control|||axis|machine|axis.control|axis.cpp|Axis::start|118|" + message;
}

DataOfQueue traceEntry(unsigned int code, std::string const & message)
{
    DataOfQueue entry = entryOfType(DATA_TRACE);
    entry.traceData.mainDiagnosisCode = code;
    set(entry.traceData.componentName, "axis");
    set(entry.traceData.snapName, "machine");
    set(entry.traceData.unitName, "axis.control");
    set(entry.traceData.fileName, "axis.cpp");
    set(entry.traceData.functionName, "Axis::start");
    entry.traceData.line = 118;
    set(entry.traceData.message, message);
    return entry;
}

DataOfQueue entryOfType(DataTypeOfQueue type)
{
    DataOfQueue entry;
    entry.dataType = type;
    return entry;
}

bool isSame(timespec const & left, timespec const & right)
{
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

timespec now() { return Clock(CLOCK_ID_WALL).getTimestamp(); }

void emitAll(InternalTrace & internalTrace)
{
    // The object itself is not constant: only its accessor is read-only.
    const_cast<EnablingState &>(internalTrace.enablingState()) = {true, true, true};
}

HandlerTest::HandlerTest() : layer(&stream)
{
    // Ahead of everything that holds a snap name; no other thread runs yet.
    (void)setenv("SNAP_NAME", "machine", 1); // NOLINT(concurrency-mt-unsafe)
}

HandlerTest::~HandlerTest() = default;

void HandlerTest::fill(DataOfQueue const & entry, unsigned int count)
{
    for (unsigned int number = 0; number < count; ++number) {
        ASSERT_EQ(handler->addTraceData(entry), TRACE_OK) << "entry " << number;
    }
}

std::vector<std::string> HandlerTest::drain()
{
    stream.clear();
    EXPECT_EQ(handler->addTraceData(entryOfType(DATA_TERMINATE)), TRACE_OK);
    EXPECT_EQ(layer.runWorker(), TRACE_OK);
    std::vector<std::string> records = written();
    if (records.size() < 2) {
        ADD_FAILURE() << "no first and last record of the worker";
        return records;
    }
    EXPECT_EQ(
        records.front(),
        ownRecord(kMessage, kWorker, "Thread 'TraceHandler' is started with priority 10 and a thread delay of 10 ms"));
    EXPECT_EQ(records.back(), ownRecord(kMessage, kWorker, "Thread 'TraceHandler' is terminated by destruction"));
    return {records.begin() + 1, records.end() - 1};
}

} // namespace common::log::test
