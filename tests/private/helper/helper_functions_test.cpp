#include "helper/object_text.h"
#include "unit_calls.h"

#include <cstring>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(FileBaseName, IsTheTextBehindTheLastSeparatorOfEitherKind)
{
    struct Case
    {
        char const * path;
        char const * baseName;
    };
    for (Case const & value : {Case{"private/src/log.cpp", "log.cpp"}, Case{"private\\src\\log.cpp", "log.cpp"},
                               Case{"private\\src/log.cpp", "log.cpp"}, Case{"private/src\\log.cpp", "log.cpp"},
                               Case{"log.cpp", "log.cpp"}, Case{"", ""}, Case{"private/", ""},
                               Case{"private/src\\", ""}, Case{"/src/log.cpp", "log.cpp"}, Case{"//", ""},
                               // An only separator at the start is not told from none.
                               Case{"/log.cpp", "/log.cpp"}, Case{"\\log.cpp", "\\log.cpp"}, Case{"/", "/"}}) {
        EXPECT_STREQ(fileBaseName(value.path), value.baseName) << value.path;
    }
}

TEST(ObjectText, IsTheTextOfAShortObjectAndTheBytesOfTheAddressOfALongOne)
{
    EXPECT_STREQ(ObjectText("").text(), "");
    EXPECT_STREQ(ObjectText(std::string("ax\0is", 5)).text(), "ax");
    EXPECT_STREQ(ObjectText("fifteen letters").text(), "fifteen letters");

    std::string const longer = "sixteen letters.";
    char const * const text = longer.data();
    char bytes[sizeof text + 1] = {};
    std::memcpy(bytes, &text, sizeof text); // as a formatter meets it on a machine that puts the lowest byte first
    EXPECT_STREQ(ObjectText(longer).text(), bytes);
}

using MapResults = UnitTest;

TEST_F(MapResults, IsTheIdentityOnTheTable)
{
    InternalTrace const internalTrace;
    for (std::uint32_t const number :
         {1U, 0xF0000001U, 0xF0000002U, 0xF0000003U, 0xF0000004U, 0xF0000005U, 0xF0000006U}) {
        EXPECT_EQ(mapCommonResultToTraceResult(static_cast<CommonResult>(number)), number);
    }
    EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(MapResults, ReportsEveryOtherValue)
{
    for (std::uint32_t const number : {0U, 2U, 3U, 0x80000001U, 0xF0000000U, 0xF0000007U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(number);
        auto const value = static_cast<CommonResult>(number);
        EXPECT_EQ(mapCommonResultToTraceResult(value), TRACE_UNKNOWN_COMMON_RESULT);
        EXPECT_THAT(takeLines(), IsEmpty()) << "nobody to report to";
        InternalTrace const internalTrace;
        EXPECT_EQ(mapCommonResultToTraceResult(value), TRACE_UNKNOWN_COMMON_RESULT);
        EXPECT_THAT(takeLines(), ElementsAre(ownError("map_results.cpp", "trace::mapCommonResultToTraceResult",
                                                      "Invalid Argument: commonResult")));
    }
}

class CheckAndSetString : public UnitTest, public testing::WithParamInterface<unsigned short>
{
protected:
    /// The buffer after the call; all that was not written shows as '#'.
    std::string bufferAfter(char const * source, unsigned short size)
    {
        std::string buffer(size + 8U, '#');
        checkAndSetString(buffer.data(), source, size, result);
        return buffer;
    }

    static std::string bufferWith(std::string const & text, unsigned short size)
    {
        return text + '\0' + std::string(size + 7U - text.size(), '#');
    }

    InternalTrace internalTrace;
    TraceResult result = TRACE_INVALID_ARGUMENT;
};

TEST_P(CheckAndSetString, CopiesWholeWhatFits)
{
    for (std::string const & source : {std::string(), std::string(GetParam() - 1U, 'x')}) {
        EXPECT_EQ(bufferAfter(source.c_str(), GetParam()), bufferWith(source, GetParam()));
        EXPECT_EQ(result, TRACE_INVALID_ARGUMENT) << "not touched";
        EXPECT_THAT(takeLines(), IsEmpty());
    }
}

TEST_P(CheckAndSetString, CutsReportsAndDisplacesAnEarlierResult)
{
    std::string const kept(GetParam() - 1U, 'x');
    for (std::size_t const excess : {1U, 2U, 1000U}) {
        result = TRACE_INVALID_ARGUMENT;
        EXPECT_EQ(bufferAfter((kept + std::string(excess, 'x')).c_str(), GetParam()), bufferWith(kept, GetParam()));
        EXPECT_EQ(result, TRACE_TRUNCATED);
        EXPECT_THAT(takeLines(), ElementsAre(cutReport(kept.size() + excess, GetParam() - 1)));
    }
    removeInternalTracePointer();
    result = TRACE_OK;
    EXPECT_EQ(bufferAfter((kept + 'y').c_str(), GetParam()), bufferWith(kept, GetParam()));
    EXPECT_EQ(result, TRACE_TRUNCATED) << "without a report too";
    EXPECT_THAT(takeLines(), IsEmpty());
}
INSTANTIATE_TEST_SUITE_P(Size, CheckAndSetString, testing::Values(1, 2, 64, 128, 256, 65535));

using CheckAndSetStringOf = CheckAndSetString;

TEST_F(CheckAndSetStringOf, NoSourceLeavesEverything)
{
    EXPECT_EQ(bufferAfter(nullptr, 8), std::string(16, '#'));
    EXPECT_EQ(result, TRACE_INVALID_ARGUMENT);
    EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(CheckAndSetStringOf, SizeZeroWritesNothingAndReports)
{
    EXPECT_EQ(bufferAfter("abc", 0), std::string(8, '#'));
    EXPECT_EQ(result, TRACE_TRUNCATED);
    EXPECT_THAT(takeLines(), ElementsAre(cutReport(3, -1)));
}

} // namespace

} // namespace common::log::test
