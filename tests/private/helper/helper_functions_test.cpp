#include "helper/object_text.h"
#include "support/trace_test.h"

#include <cstring>
#include <utility>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(FileBaseName, IsTheTextBehindTheLastSeparatorOfEitherKind)
{
    for (auto const & [path, baseName] : {std::pair<char const *, char const *>{"private\\src/log.cpp", "log.cpp"},
                                          {"private/src\\log.cpp", "log.cpp"},
                                          {"log.cpp", "log.cpp"},
                                          {"", ""},
                                          {"private/", ""},
                                          {"//", ""},
                                          // An only separator at the start is not told from none.
                                          {"/log.cpp", "/log.cpp"},
                                          {"\\", "\\"}}) {
        EXPECT_STREQ(fileBaseName(path), baseName) << path;
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

using HelperFunctions = TraceTest;

TEST_F(HelperFunctions, MapEachResultOfTheSinkToItselfAndReportEveryOtherValue)
{
    InternalTrace const internalTrace;
    for (std::uint32_t const number :
         {1U, 0xF0000001U, 0xF0000002U, 0xF0000003U, 0xF0000004U, 0xF0000005U, 0xF0000006U}) {
        EXPECT_EQ(mapCommonResultToTraceResult(static_cast<CommonResult>(number)), number);
    }
    EXPECT_THAT(takeLines(), IsEmpty());
    for (std::uint32_t const number : {0U, 2U, 0x80000001U, 0xF0000000U, 0xF0000007U, 0xFFFFFFFFU}) {
        EXPECT_EQ(mapCommonResultToTraceResult(static_cast<CommonResult>(number)), TRACE_UNKNOWN_COMMON_RESULT);
        EXPECT_THAT(takeLines(), ElementsAre(ownRecord(kError, "map_results.cpp", "trace::mapCommonResultToTraceResult",
                                                       "Invalid Argument: commonResult")))
            << number;
    }
    removeInternalTracePointer();
    EXPECT_EQ(mapCommonResultToTraceResult(static_cast<CommonResult>(0)), TRACE_UNKNOWN_COMMON_RESULT);
    EXPECT_THAT(takeLines(), IsEmpty());
}

class CheckAndSetString : public TraceTest
{
protected:
    /// The buffer after the call; all that was not written shows as '#'.
    std::string bufferAfter(char const * source, unsigned int size)
    {
        std::string buffer(size + 8, '#');
        result = TRACE_INVALID_ARGUMENT;
        checkAndSetString(buffer.data(), source, static_cast<unsigned short>(size), result);
        return buffer;
    }

    InternalTrace internalTrace;
    TraceResult result = TRACE_OK;
};

TEST_F(CheckAndSetString, CopiesWhatFitsAndReportsACut)
{
    for (unsigned int const size : {1U, 2U, 64U, 65535U}) {
        std::string const kept(size - 1, 'x');
        std::string const filled = kept + '\0' + std::string(8, '#');
        EXPECT_EQ(bufferAfter(kept.c_str(), size), filled);
        EXPECT_EQ(result, TRACE_INVALID_ARGUMENT) << "not touched";
        EXPECT_THAT(takeLines(), IsEmpty());
        for (std::size_t const excess : {1U, 1000U}) {
            EXPECT_EQ(bufferAfter((kept + std::string(excess, 'x')).c_str(), size), filled);
            EXPECT_EQ(result, TRACE_TRUNCATED) << "in place of an earlier result";
            EXPECT_THAT(takeLines(), ElementsAre(cutReport(kept.size() + excess, static_cast<long>(kept.size()))));
        }
    }
    removeInternalTracePointer();
    EXPECT_EQ(bufferAfter("abc", 3), std::string("ab\0########", 11));
    EXPECT_EQ(result, TRACE_TRUNCATED) << "without a report too";
    EXPECT_THAT(takeLines(), IsEmpty());
}

TEST_F(CheckAndSetString, LeavesEverythingWithoutASourceAndWritesNothingWithSizeZero)
{
    EXPECT_EQ(bufferAfter(nullptr, 8), std::string(16, '#'));
    EXPECT_EQ(result, TRACE_INVALID_ARGUMENT);
    EXPECT_THAT(takeLines(), IsEmpty());
    EXPECT_EQ(bufferAfter("abc", 0), std::string(8, '#'));
    EXPECT_EQ(result, TRACE_TRUNCATED);
    EXPECT_THAT(takeLines(), ElementsAre(cutReport(3, -1)));
}

} // namespace

} // namespace common::log::test
