#include "input_line.h"

#include "duration.h"
#include "line_splitter.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tracehost {
namespace {

using namespace common::log::trace;
using testing::ElementsAre;

/// The lines of a text that comes in pieces of `pieceSize` bytes.
std::vector<std::string> split(std::string_view text, std::size_t pieceSize)
{
    std::vector<std::string> lines;
    LineFunction const keep = [&lines](std::string const & line) { lines.push_back(line); };
    LineSplitter splitter;
    for (; !text.empty(); text.remove_prefix(std::min(pieceSize, text.size()))) {
        splitter.feed(text.substr(0, pieceSize), keep);
    }
    splitter.finish(keep);
    return lines;
}

TEST(LineSplitter, GivesTheSameLinesHoweverTheBytesArrive)
{
    constexpr char bytes[] = "one\n\ntwo\r\n\r\nth\rree\r\r\n\0a\0\n\xFF\xC3|%s\nlast\r";
    std::string_view const text(bytes, sizeof bytes - 1);
    for (std::size_t pieceSize = 1; pieceSize <= text.size(); ++pieceSize) {
        EXPECT_THAT(split(text, pieceSize),
                    ElementsAre("one", "", "two", "", "th\rree\r", "\\0a\\0", "\xFF\xC3|%s", "last\r"))
            << pieceSize;
    }
}

TEST(LineSplitter, KeepsTheStartOfALineOfAnyLength)
{
    std::string const kept(LineSplitter::kMostBytes, 'x');
    for (std::size_t const pieceSize : {1000U, 65'536U, 1'000'000U}) {
        EXPECT_THAT(split(kept + "\n" + kept + "y\n" + kept + kept + "\nnext", pieceSize),
                    ElementsAre(kept, kept, kept, "next"));
        // Zero bytes grow on the way, which must not lead past the bound either.
        std::vector<std::string> const zeros = split(std::string(LineSplitter::kMostBytes, '\0') + "\nnext", pieceSize);
        ASSERT_EQ(zeros.size(), 2U);
        EXPECT_LE(zeros[0].size(), LineSplitter::kMostBytes + 1);
    }
}

TEST(InputLine, TakesASeverityOffAsTheSystemJournalDoes)
{
    struct
    {
        char const * line;
        DiagnosisClass severity;
        char const * text;
    } const cases[] = {
        {"<0>a", CLASS_ERROR, "a"},        {"<3>a", CLASS_ERROR, "a"},    {"<4>a", CLASS_WARNING, "a"},
        {"<5>a", CLASS_MESSAGE, "a"},      {"<7>a", CLASS_MESSAGE, "a"},  {"<3>", CLASS_ERROR, ""},
        {"<3><4>a", CLASS_ERROR, "<4>a"},  {"a", CLASS_MESSAGE, "a"},     {"", CLASS_MESSAGE, ""},
        {"<8>a", CLASS_MESSAGE, "<8>a"},   {"<3", CLASS_MESSAGE, "<3"},   {"<13>a", CLASS_MESSAGE, "<13>a"},
        {" <3>a", CLASS_MESSAGE, " <3>a"}, {"<3a", CLASS_MESSAGE, "<3a"}, {"</>a", CLASS_MESSAGE, "</>a"},
    };
    for (auto const & tested : cases) {
        std::string const line = tested.line;
        InputLine const parsed = parseInputLine(line);
        EXPECT_EQ(parsed.severity, tested.severity) << tested.line;
        EXPECT_STREQ(parsed.text, tested.text) << tested.line;
    }
}

TEST(Duration, IsAWholeNumberWithAUnit)
{
    struct
    {
        char const * text;
        std::int64_t nanoseconds;
    } const cases[] = {{"1ns", 1},
                       {"250us", 250'000},
                       {"1ms", 1'000'000},
                       {"20s", 20'000'000'000},
                       {"2m", 120'000'000'000},
                       {"1h", 3'600'000'000'000},
                       {"0us", 0},
                       {"9223372036854775807ns", 9'223'372'036'854'775'807},
                       {"2562047h", 9'223'369'200'000'000'000}};
    for (auto const & tested : cases) {
        auto const parsed = parseDuration(tested.text);
        ASSERT_TRUE(parsed) << tested.text;
        EXPECT_EQ(parsed->count(), tested.nanoseconds) << tested.text;
        EXPECT_EQ(parseDuration(durationText(*parsed)), parsed) << tested.text;
    }
    for (char const * const wrong :
         {"", "0", "1", "us", "1 us", " 1us", "1us ", "-1us", "+1us", "1.5ms", "1e3us", "1US", "1min", "0x1us",
          "9223372036854775808ns", "2562048h", "99999999999999999999s"}) {
        EXPECT_FALSE(parseDuration(wrong)) << wrong;
    }
}

} // namespace
} // namespace tracehost
