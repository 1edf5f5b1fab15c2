#include <common/log/send_log.h>

#include "support/internal_trace_access.h"
#include "support/stream_capture.h"

#include <common/log/argument_pointer.h>

#include <gtest/gtest.h>

#include <cstdarg>
#include <iostream>
#include <string>
#include <vector>

namespace common::log::test {

namespace {

constexpr char const * kOrigin = "\n2024-03-07T10:15:30.123456Z|r1|080A0112|Trace message axis.control|r2|r3|axis|"
                                 "machine|axis.control|axis_control|AxisControl::start|118|";
constexpr wchar_t kUnwritable[] = {wchar_t{0xD800}, L'\0'}; // no character of any encoding

timespec someTime()
{
    timespec timestamp{};
    timestamp.tv_sec = 1'709'806'530;
    timestamp.tv_nsec = 123'456'789;
    return timestamp;
}

class SendLog : public testing::Test
{
protected:
    /// Leaves in `firstUnread` what the list gives next when the call is over.
    CommonResult send(char const * format, ...)
    {
        std::va_list arguments;
        va_start(arguments, format);
        CommonResult const result = sendLog(
            identifier, priority, timestamp, "r1", "080A0112", "Trace message axis.control", "r2", "r3", "axis",
            "machine", "axis.control", "axis_control", "AxisControl::start", "118", format, argumentPointer(arguments));
        firstUnread = va_arg(arguments, int);
        va_end(arguments);
        return result;
    }

    CommonResult sendFinished(char const * message)
    {
        return sendLogNoVaList(identifier, priority, timestamp, "r1", "080A0112", "Trace message axis.control", "r2",
                               "r3", "axis", "machine", "axis.control", "axis_control", "AxisControl::start", "118",
                               message);
    }

    char const * identifier = "velmont_trace";
    PriorityType priority = PRIORITY_MESSAGE;
    timespec timestamp = someTime();
    int firstUnread = 0;
    StreamCapture stream;
};

TEST_F(SendLog, WritesTheRecordAndFlushesOnce)
{
    EXPECT_EQ(send("Axis %d of %s", 42, "seven"), COMMON_OK);
    EXPECT_EQ(stream.text(), kOrigin + std::string("Axis 42 of seven"));
    EXPECT_EQ(firstUnread, 42) << "the caller's list is still unread";
    EXPECT_EQ(stream.flushes(), 1U);
    EXPECT_GE(stream.writes(), 13U) << "field by field";

    stream.clear();
    EXPECT_EQ(sendFinished("100% finished, %d"), COMMON_OK);
    EXPECT_EQ(stream.text(), kOrigin + std::string("100% finished, %d"));
    EXPECT_EQ(stream.flushes(), 1U);
    EXPECT_GE(stream.writes(), 13U);
}

TEST_F(SendLog, ReadsNeitherIdentifierNorPriority)
{
    identifier = nullptr;
    for (std::uint32_t const number : {0U, 3U, 4U, 7U, 0xFFFFFFFFU}) {
        stream.clear();
        priority = static_cast<PriorityType>(number);
        EXPECT_EQ(send("text %d", 42), COMMON_OK);
        EXPECT_EQ(sendFinished("text 42"), COMMON_OK);
        EXPECT_EQ(stream.text(), kOrigin + std::string("text 42") + kOrigin + "text 42");
    }
}

TEST_F(SendLog, KeepsEmptyFieldsAndEscapesNothing)
{
    timestamp.tv_sec = 0;
    (void)sendLogNoVaList("", PRIORITY_ERROR, timestamp, "", "", "", "", "", "", "", "", "", "", "", "");
    EXPECT_EQ(stream.text(), "\n||||||||||||");

    stream.clear();
    (void)sendLogNoVaList("", PRIORITY_ERROR, timestamp, "", "", "", "", "", "a|b", "", "c\nd", "\x1b\\\"", "%s%n", "",
                          "e|\nf");
    EXPECT_EQ(stream.text(), "\n||||||a|b||c\nd|\x1b\\\"|%s%n||e|\nf");
}

TEST_F(SendLog, CutsAtTwoHundredFiftyFiveCharactersAndReportsItAhead)
{
    trace::InternalTrace internalTrace;
    std::string const fitting(255, 'x');
    EXPECT_EQ(send("%.*s", 255, fitting.c_str()), COMMON_OK);
    EXPECT_EQ(stream.text(), kOrigin + fitting) << "without a report";

    stream.clear();
    EXPECT_EQ(send("%d%s", 42, std::string(254, 'x').c_str()), COMMON_TRUNCATED);
    EXPECT_EQ(firstUnread, 42);
    std::vector<Record> const records = stream.records();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].code, "080F0112");
    EXPECT_EQ(records[0].functionName, "common::log::sendLog");
    EXPECT_EQ(records[0].fileName, "send_log.cpp");
    EXPECT_EQ(records[0].message, "Message size of output string exceeded. String is truncated after 255 characters "
                                  "(or before, depending on implementation).");
    EXPECT_EQ(records[1].message, "42" + std::string(253, 'x'));

    stream.clear();
    setFlags(internalTrace, {true, true, false});
    EXPECT_EQ(send("%300d", 42), COMMON_TRUNCATED) << "without the report too";
    EXPECT_EQ(stream.text(), kOrigin + std::string(255, ' '));
}

TEST_F(SendLog, WritesNothingWhereTheTextCannotBeBuilt)
{
    EXPECT_EQ(send("%d%ls", 42, kUnwritable), COMMON_FAILED);
    EXPECT_EQ(stream.text(), "");
    EXPECT_EQ(stream.flushes(), 0U);

    trace::InternalTrace const internalTrace;
    EXPECT_EQ(send("%d%ls", 42, kUnwritable), COMMON_FAILED);
    ASSERT_EQ(stream.records().size(), 1U) << "the report alone";
    EXPECT_EQ(stream.records()[0].code, "080F0112");
    EXPECT_EQ(stream.records()[0].functionName, "common::log::sendLog");
    EXPECT_EQ(stream.records()[0].message, "Calling 'vsnprintf' failed. Output string could not be built.");
}

TEST_F(SendLog, HasNoLimitForAFinishedText)
{
    trace::InternalTrace const internalTrace;
    std::string const message = std::string(999, 'x') + '.';
    EXPECT_EQ(sendFinished(message.c_str()), COMMON_OK);
    EXPECT_EQ(stream.text(), kOrigin + message);
}

TEST_F(SendLog, DoesNotLookAtTheStateOfTheStream)
{
    std::cerr.setstate(std::ios_base::failbit);
    EXPECT_EQ(send("%d", 42), COMMON_OK);
    EXPECT_EQ(sendFinished("text"), COMMON_OK);
    EXPECT_EQ(std::cerr.rdstate(), std::ios_base::failbit);
    std::cerr.clear();
    EXPECT_EQ(stream.text(), "");
}

} // namespace

} // namespace common::log::test
