#include "input_line.h"

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

} // namespace
} // namespace tracehost
