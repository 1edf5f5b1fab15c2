#include <common/log/trace/output_hook.h>

#include "support/stream_capture.h"

#include "helper/format.h"

#include <gtest/gtest.h>

#include <iostream>
#include <limits>
#include <locale>
#include <string>
#include <tuple>

namespace common::log::test {

namespace {

using namespace common::log::trace;

// Past the compiler's check of the format, for formats that nobody may read.
void (*const kOutputUnchecked)(OutputType, char const *, ...) = outputMessageLog;

/// Of one call: the user data, the kind, the place of the format, and the text that the arguments give.
using HookCall = std::tuple<void volatile *, std::uint32_t, void const *, std::string>;
HookCall g_lastCall;
int g_calls = 0;

void keepCall(void volatile * userData, OutputType type, char const * format, char * arguments)
{
    char text[64];
    (void)formatArguments(text, sizeof text, format, arguments);
    g_lastCall = {userData, type, format, text};
    ++g_calls;
}

TEST(OutputHook, GetsEachCallWithItsArgumentsUnread)
{
    static constexpr char kFormat[] = "%d %s %.2f";
    StreamCapture const stream;
    int first = 0;
    int second = 0;
    g_calls = 0;
    EXPECT_EQ(g_logUserData, nullptr);
    kOutputUnchecked(OutputType{}, reinterpret_cast<char const *>(1), 7); // no hook yet: no format is touched
    setOutputHook(keepCall, &first);
    outputMessageLog(OutputType{}, kFormat, 7, "seven", 7.25);
    EXPECT_EQ(g_lastCall, HookCall(&first, 0U, kFormat, "7 seven 7.25"));
    setOutputHook(keepCall, &second);
    outputMessageLog(static_cast<OutputType>(0xFFFFFFFFU), kFormat, -7, "", 0.5);
    EXPECT_EQ(g_lastCall, HookCall(&second, 0xFFFFFFFFU, kFormat, "-7  0.50"));

    setOutputHook(nullptr, &first);
    EXPECT_EQ(g_logUserData, &first) << "stored without a look at the function";
    kOutputUnchecked(OutputType{}, nullptr);
    setOutputHook(nullptr, nullptr);
    EXPECT_EQ(g_calls, 2);
    EXPECT_EQ(stream.text(), "");
}

struct GroupedDigits : std::numpunct<char>
{
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(OutputFunction, WritesALineWithItsOriginBehindALineEndWhateverTheStreamIsSetTo)
{
    StreamCapture stream;
    std::ios_base::fmtflags const flags = std::cerr.flags();
    std::locale const previous = std::cerr.imbue(std::locale(std::locale::classic(), new GroupedDigits));
    std::cerr << std::hex << std::showbase << std::showpos;
    outputFunction("ERR", 123'456, "common::log::trace::LogBuffered::log", "%s: code 0x%08X", "axis", 0x120000U);
    EXPECT_EQ(stream.text(), "\nERR: common::log::trace::LogBuffered::log (line 123456): axis: code 0x00120000");
    EXPECT_EQ(stream.flushes(), 1U) << "that of the line end";
    stream.clear();
    outputFunction("WARN", 0, nullptr, "%d|%%", 1'234); // without a line the name is not looked at
    outputFunction("", std::numeric_limits<int>::min(), "f", "%s", "");
    std::cerr.flags(flags);
    std::cerr.imbue(previous);
    EXPECT_EQ(stream.text(), "\nWARN: 1234|%\n: f (line -2147483648): ");
}

TEST(OutputFunction, CutsItsTextAt199CharactersAndNothingElse)
{
    StreamCapture stream;
    std::string const longText(1'000, 'x');
    for (int const length : {199, 200, 1'000}) {
        stream.clear();
        outputFunction(longText.c_str(), 1, longText.c_str(), "%.*s", length, longText.c_str());
        EXPECT_EQ(stream.text(), "\n" + longText + ": " + longText + " (line 1): " + longText.substr(0, 199));
    }
}

} // namespace

} // namespace common::log::test
