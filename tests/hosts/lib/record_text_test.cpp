#include <common/log/host/record_text.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace common::log::host {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;

std::string const kHead = "2024-03-07T10:15:30.123456Z||080E0112|Trace warning ";
std::string const kPlain = "\n" + kHead + "axis.control|||axis|machine|axis.control|main.cpp|run|-12|3 is off";

/// Title, component, snap, unit, file, function, line, message; empty for what is no record.
std::vector<std::string_view> fieldsOf(std::string_view record)
{
    auto const read = parseRecord(record);
    if (!read) {
        return {};
    }
    EXPECT_EQ(read->time, "2024-03-07T10:15:30.123456Z");
    EXPECT_EQ(read->code, "080E0112");
    EXPECT_EQ(read->severity, RecordSeverity::warning);
    return {read->title, read->component, read->snap, read->unit,
            read->file,  read->function,  read->line, read->message};
}

TEST(RecordTextParse, TellsFieldsWithSeparatorsApart)
{
    EXPECT_THAT(fieldsOf(kPlain), ElementsAre("Trace warning axis.control", "axis", "machine", "axis.control",
                                              "main.cpp", "run", "-12", "3 is off"));
    EXPECT_THAT(fieldsOf(kHead + "x|y|||left|right|machine|x|y|m.cpp|f<'|'>|12|Axis|\n3|"),
                ElementsAre("Trace warning x|y", "left|right", "machine", "x|y", "m.cpp", "f<'|'>", "12", "Axis|\n3|"));
    EXPECT_THAT(fieldsOf("\n\n" + kHead + "u|||||u||||"), ElementsAre("Trace warning u", "", "", "u", "", "", "", ""));
    EXPECT_THAT(fieldsOf(kHead + "|||c|s||f|g|1|m"), ElementsAre("Trace warning ", "c", "s", "", "f", "g", "1", "m"));
    EXPECT_THAT(fieldsOf(kHead + "u|||u|s|u|f|a|1b|2|m"),
                ElementsAre("Trace warning u", "u", "s", "u", "f", "a|1b", "2", "m"));
    EXPECT_THAT(fieldsOf(kHead + "u\0\x1b|||<b>|\xff|u\0\x1b|\n|\r|1|\0"s),
                ElementsAre("Trace warning u\0\x1b"s, "<b>", "\xff", "u\0\x1b"s, "\n", "\r", "1", "\0"s));
}

TEST(RecordTextParse, KnowsWhatIsNoRecord)
{
    for (std::string const & text :
         {""s, "\n"s, "||||||||||||"s, "ERR: log (line 104): one"s, kHead, kHead + "u|||c|s|u",
          kHead + "u|||c|s|other|f|g|1|m", kHead + "u|||c|s|u|f|g|line|m",
          kHead + std::string(64, 'u') + "|||c|s|" + std::string(64, 'u') + "|f|g|1|m"}) {
        EXPECT_FALSE(parseRecord(text)) << text;
    }
    std::size_t const ofSeverity = kPlain.find("warning");
    for (std::size_t place = 1; place < ofSeverity; ++place) { // the line end in front is none of it
        if (place != 29) {                                     // the reserved field may be filled
            std::string damaged = kPlain;
            damaged[place] = '!';
            EXPECT_FALSE(parseRecord(damaged)) << damaged;
        }
    }
    for (std::size_t size = 0; size < kPlain.rfind('|'); ++size) {
        EXPECT_FALSE(parseRecord(kPlain.substr(0, size))) << size;
    }
    EXPECT_FALSE(parseRecord(kHead + "u" + std::string(65536, '|'))) << "and that soon";
}

TEST(RecordTextPrintable, EscapesWhatATerminalWouldObey)
{
    struct
    {
        std::string text;
        char const * printed;
    } const cases[] = {{"a\n\r\t\x1b[31m\0b\x7f\\"s, R"(a\n\r\t\x1b[31m\x00b\x7f\)"},
                       {"\u0085\u009b31m\u00a0\u00e9\u20ac\U0001F600", "\\x85\\x9b31m\u00a0\u00e9\u20ac\U0001F600"},
                       // NOLINTNEXTLINE(misc-misleading-bidirectional): this is what is tested
                       {"\u2027\u2028\u2029\u202a\u202e\u202f", "\u2027\\u2028\\u2029\\u202a\\u202e\u202f"},
                       // NOLINTNEXTLINE(misc-misleading-bidirectional)
                       {"\u2065\u2066\u2069\u206a", "\u2065\\u2066\\u2069\u206a"},
                       {"\x9b|\xff|\xc3", "\ufffd|\ufffd|\ufffd"},
                       {"\xc0\x80|\xc1\xbf", "\ufffd\ufffd|\ufffd\ufffd"}, // overlong
                       {"\xe0\x9f\xbf|\xf0\x8f\xbf\xbf", "\ufffd\ufffd\ufffd|\ufffd\ufffd\ufffd\ufffd"},
                       {"\xed\x9f\xbf|\xed\xa0\x80", "\ud7ff|\ufffd\ufffd\ufffd"}, // surrogate
                       {"\xf4\x8f\xbf\xbf|\xf4\x90\x80\x80", "\U0010FFFF|\ufffd\ufffd\ufffd\ufffd"},
                       {"\xe2\x82|\xf0\x9f\x98\n", "\ufffd|\ufffd\\n"}}; // cut
    for (auto const & tested : cases) {
        EXPECT_EQ(printable(tested.text), tested.printed);
    }
}

TEST(RecordTextJson, IsOneLineInTheOrderOfTheDoor)
{
    EXPECT_EQ(recordJson(4711, kPlain),
              R"({"number":4711,"time":"2024-03-07T10:15:30.123456Z","severity":"warning","code":"080E0112",)"
              R"("title":"Trace warning axis.control","component":"axis","snap":"machine","unit":"axis.control",)"
              R"("file":"main.cpp","function":"run","line":-12,"message":"3 is off"})");
    EXPECT_EQ(recordJson(18446744073709551615U, "\"\n\0\x1b</a>\xff\\"s),
              R"({"number":18446744073709551615,"text":"\"\n\u0000\u001b</a>)"
              "\ufffd"
              R"(\\"})");
    EXPECT_EQ(nlohmann::json::parse(recordJson(1, kHead + "u|||c|s|u|f|g|007|m")).at("line"), 7);
    for (char const * const line : {"", "-", "99999999999999999999"}) {
        std::string const json = recordJson(1, kHead + "u|||c|s|u|f|g|" + line + "|\xe2\x82|\n");
        EXPECT_TRUE(nlohmann::json::parse(json).at("line").is_null()) << json;
        EXPECT_EQ(nlohmann::json::parse(json).at("message"), "\ufffd|\n");
    }
}

} // namespace
} // namespace common::log::host
