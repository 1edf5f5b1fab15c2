#include <common/log/send_log.h>

#include "support/internal_trace_access.h"
#include "support/trace_test.h"

#include <common/log/argument_pointer.h>

#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <streambuf>

namespace common::log::test {

namespace {

using testing::ElementsAre;

std::string record(std::string const & message)
{
    return "\n2024-03-07T10:15:30.123456Z|r1|080A0112|Trace message axis.control|r2|r3|axis|machine|axis.control|"
           "axis_control|AxisControl::start|118|" +
           message;
}

/// Takes a text for which there is room, or throws at a long one. A flush shows as '#'.
struct NarrowBuffer : std::streambuf
{
    std::streamsize xsputn(char const * added, std::streamsize size) override
    {
        std::streamsize const taken = size > room ? 0 : size;
        text.append(added, static_cast<std::size_t>(taken));
        room -= taken;
        return throws && size > 20 ? throw 42 : taken;
    }
    int sync() override { return text += '#', 0; }

    std::streamsize room = 999;
    bool throws = false;
    std::string text;
};

std::string report(std::string const & message) { return ownRecord(kError, "send_log.cpp", "sendLog", message); }

class SendLog : public TraceTest
{
protected:
    CommonResult send(char const * format, ...)
    {
        std::va_list arguments;
        va_start(arguments, format);
        CommonResult const result = sendLog(
            identifier, priority, timestamp, "r1", "080A0112", "Trace message axis.control", "r2", "r3", "axis",
            "machine", "axis.control", "axis_control", "AxisControl::start", "118", format, argumentPointer(arguments));
        EXPECT_EQ(va_arg(arguments, int), 42) << "the caller's list is still unread";
        va_end(arguments);
        return result;
    }
    CommonResult sendFinished(std::string const & message)
    {
        return sendLogNoVaList(identifier, priority, timestamp, "r1", "080A0112", "Trace message axis.control", "r2",
                               "r3", "axis", "machine", "axis.control", "axis_control", "AxisControl::start", "118",
                               message.c_str());
    }

    char const * identifier = nullptr; // is not read, and neither is the priority
    PriorityType priority = static_cast<PriorityType>(0xFFFFFFFFU);
    timespec timestamp{1'709'806'530, 123'456'789};
};

TEST_F(SendLog, WritesTheRecordAndFlushesOnce)
{
    EXPECT_EQ(send("Axis %d of %s", 42, "seven"), COMMON_OK);
    EXPECT_EQ(stream.text(), record("Axis 42 of seven"));
    EXPECT_EQ(stream.flushes(), 1U);
    stream.clear();
    std::string const finished = "100% finished, %d" + std::string(1'000, 'x'); // for which there is no limit
    EXPECT_EQ(sendFinished(finished), COMMON_OK);
    EXPECT_EQ(stream.text(), record(finished));
    EXPECT_EQ(stream.flushes(), 1U);
}

TEST_F(SendLog, FormatsEachConversionWithTheSameBytesOnEverySystem)
{
    char const * const noText = nullptr;
    (void)send("%d %ld %llx %zu %td %jd %hhd %p %p", 42, -2147483647L, 0xFEDCBA9876543210ULL, SIZE_MAX,
               std::ptrdiff_t{-1}, std::intmax_t{INT64_MIN}, 300, reinterpret_cast<void *>(0x12ab), noText);
    (void)send("%d %e %g %a %.0f %5.1f %F %f %Lf %s%c", 42, 1e5, 1e-10, 1.0, 2.5, -0.05, HUGE_VAL, -HUGE_VAL, 1.5L,
               noText, '!');
    EXPECT_EQ(stream.text(),
              record("42 -2147483647 fedcba9876543210 18446744073709551615 -1 -9223372036854775808 44 0x12ab (nil)") +
                  record("42 1.000000e+05 1e-10 0x1p+0 2  -0.1 INF -inf 1.500000 (null)!"));
}

TEST_F(SendLog, KeepsEmptyFieldsAndEscapesNothing)
{
    timestamp.tv_sec = 0;
    (void)sendLogNoVaList("", PRIORITY_ERROR, timestamp, "", "", "", "", "", "a|b", "", "c\nd", "\x1b\\\"", "%s%n", "",
                          "e|\nf");
    EXPECT_EQ(stream.text(), "\n||||||a|b||c\nd|\x1b\\\"|%s%n||e|\nf");
}

TEST_F(SendLog, CutsAtTwoHundredFiftyFiveCharactersAndReportsItAhead)
{
    trace::InternalTrace internalTrace;
    EXPECT_EQ(send("%255d", 42), COMMON_OK);
    EXPECT_EQ(stream.text(), record(std::string(253, ' ') + "42")) << "without a report";
    stream.clear();
    EXPECT_EQ(send("%d%254s", 42, "."), COMMON_TRUNCATED);
    EXPECT_THAT(comparable(stream.text()),
                ElementsAre(report("Message size of output string exceeded. String is truncated after 255 characters "
                                   "(or before, depending on implementation)."),
                            comparable(record("42" + std::string(253, ' '))).front()));
    stream.clear();
    setFlags(internalTrace, {true, true, false});
    EXPECT_EQ(send("%300d", 42), COMMON_TRUNCATED) << "without the report too";
    EXPECT_EQ(stream.text(), record(std::string(255, ' ')));
}

TEST_F(SendLog, WritesNothingWhereTheTextCannotBeBuilt)
{
    EXPECT_EQ(send(kUnwritable, 42, 1), COMMON_FAILED);
    EXPECT_EQ(stream.text(), "");
    EXPECT_EQ(stream.flushes(), 0U);
    trace::InternalTrace const internalTrace;
    EXPECT_EQ(send(kUnwritable, 42, 1), COMMON_FAILED);
    EXPECT_THAT(takeLines(), ElementsAre(report("Calling 'vsnprintf' failed. Output string could not be built.")));
}

TEST_F(SendLog, InsertsAsTheStreamsOperatorsDoAndSucceedsInAnyStateOfIt)
{
    constexpr void (*kChanges[])(NarrowBuffer &) = {
        [](NarrowBuffer &) {},
        [](NarrowBuffer &) { std::cerr << std::unitbuf; },
        [](NarrowBuffer &) { std::cerr.width(9); },
        [](NarrowBuffer &) { std::cerr.setstate(std::ios_base::failbit); },
        [](NarrowBuffer & buffer) { buffer.room = 30; },
        [](NarrowBuffer & buffer) { buffer.throws = true; },
        [](NarrowBuffer & buffer) {
            buffer.throws = true;
            std::cerr.exceptions(std::ios_base::badbit);
        },
    };
    auto const outcomeOf = [](auto const & change, auto const & insertion) {
        NarrowBuffer buffer;
        std::ios before(nullptr);
        before.copyfmt(std::cerr);
        std::streambuf * const previous = std::cerr.rdbuf(&buffer);
        std::cerr.tie(nullptr);
        change(buffer);
        try {
            insertion();
        } catch (int) {
            buffer.text += " threw";
        }
        buffer.text += " " + std::to_string(std::cerr.rdstate());
        std::cerr.exceptions(std::ios_base::goodbit);
        std::cerr.rdbuf(previous); // which clears the state
        std::cerr.copyfmt(before);
        return buffer.text;
    };
    for (auto const & change : kChanges) {
        EXPECT_EQ(outcomeOf(change, [&] { EXPECT_EQ(send("%d", 42), COMMON_OK); }), outcomeOf(change, [] {
                      std::cerr << "\n"
                                << "2024-03-07T10:15:30.123456Z";
                      for (char const * const text :
                           {"r1", "080A0112", "Trace message axis.control", "r2", "r3", "axis", "machine",
                            "axis.control", "axis_control", "AxisControl::start", "118", "42"}) {
                          std::cerr << "|" << text;
                      }
                      std::cerr << std::flush;
                  }));
    }
}

} // namespace

} // namespace common::log::test
