#include "door/values.h"
#include "hosts/lib/door_support.h"

#include <cstring>
#include <new>
#include <stdexcept>

namespace common::log::test {

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

struct Call
{
    std::string request;
    std::string body;
    std::string verdict;
    std::string answer; ///< is part of the body
};

class DoorCalls : public DoorTest
{
protected:
    DoorCalls()
    {
        (void)registered("axis.control", kWarningsOnly);
        (void)registered("axis.limits", kEverything);
        census.see({1, "\n2024-03-07T10:15:30.123456Z||080E0112|Trace warning axis.control|||a|s|axis.control|f|f|1|m",
                    RecordEnd::flush});
        open();
    }
    void expectAll(std::vector<Call> const & calls) const
    {
        for (Call const & row : calls) {
            SCOPED_TRACE(row.request + " " + row.body);
            HttpAnswer const answer = call(row.request, row.body);
            EXPECT_EQ(verdict(answer), row.verdict) << answer.body;
            EXPECT_THAT(answer.body, HasSubstr(row.answer));
        }
    }
};

TEST_F(DoorCalls, AreAnsweredInARow)
{
    std::string const unit = "/nodes/trace/machine/units/axis/control";
    std::string const config = "/nodes/trace/machine/admin/cfg";
    expectAll({
        {"GET /units", "", "200",
         R"({"units":[{"name":"axis.control","address":"trace/machine/units/axis/control","current":[false,true,false],)"
         R"("default":[false,true,false],"saved":null,"switch":null,"records":{"messages":0,"warnings":1,"errors":0}},)"
         R"({"name":"axis.limits",)"},
        {"GET /units?match=*.lim%69ts", "", "200", R"({"units":[{"name":"axis.limits")"},
        {"GET /units?match=none", "", "200", R"({"units":[]})"},
        {"GET " + unit, "", "200", R"({"address":"trace/machine/units/axis/control","value":[false,true,false]})"},
        {"PUT " + unit, "true", "200",
         R"({"address":"trace/machine/units/axis/control","units":[{"address":"trace/machine/units/axis/control",)"
         R"("before":[false,true,false],"now":[true,true,true]}],"until":null})"},
        {"PUT /nodes/trace/machine/units/axis", " [true, false, true]", "200",
         R"("now":[true,false,true]},{"address":)"},
        {"GET /nodes/trace/machine/units", "", "200", R"("value":[true,false,true])"},
        {"GET /nodes?children", "", "200", R"({"address":"","children":["trace"]})"},
        {"GET /nodes/trace/machine/units/axis?children", "", "200", R"("children":["control","limits"])"},
        {"GET " + unit + "?children", "", "200", R"("children":[])"},
        {"GET " + unit + "?metadata", "", "200",
         R"("metadata":{"nodeClass":"Value","operations":{"read":true,"write":true,"create":false,"remove":false,)"
         R"("browse":false},"description":"Use to )"},
        {"GET " + unit + "?metadata", "", "200", R"({"type":"readType","target":"types/nodebus/array-of-bool8"})"},
        {"DELETE /saved", "", "404 nothing_saved", ""},
        {"POST " + config + "/save", "", "200", R"({"done":"save"})"},
        {"PUT " + unit, "false", "200", "[false,false,false]"},
        {"POST " + config + "/load", "", "200", R"({"done":"load"})"},
        {"GET " + unit, "", "200", "[true,false,true]"},
        {"DELETE /saved", "", "200", R"({"done":"forget"})"},
        {"GET /records", "", "404 no_ring", ""},
        {"GET /events", "", "404 no_ring", ""},
        {"GET /health", "", "200", R"({"program":"testhost","version":"1.2.3","process":)"},
        {"GET /health", "", "200",
         R"("run":null,"units":"trace/machine/units","configuration":"trace/machine/admin/cfg","ring":null,"figures":[)"
         R"({"name":"records_lost_total","labels":"reason=\"full\"","help":"Lost.","value":3})"},
        {"GET /metrics", "", "200", "door_requests_total 23\n"},
        {"GET /metrics", "", "200",
         "# HELP records_lost_total Lost.\n# TYPE records_lost_total counter\nrecords_lost_total{reason=\"full\"} 3\n"
         "records_lost_total{reason=\"gone\"} 4\n# HELP units Now.\n# TYPE units gauge\nunits 2\n"},
    });
    EXPECT_THAT(takeReports(), testing::IsEmpty());
}

TEST_F(DoorCalls, AreRefusedWithAReason)
{
    std::string const unit = "/nodes/trace/machine/units/axis/control";
    std::string const deep(10'000, '[');
    std::vector<Call> calls = {
        {"GET /", "", "404 unknown_path", R"("what":"/"})"},
        {"GET /units/axis", "", "404 unknown_path", "/units/axis"},
        {"PATCH /units", "", "405 bad_method", "PATCH"},
        {"GET /saved", "", "405 bad_method", ""},
        {"GET /nodes/trace/machine/nothing", "", "404 NB_INVALID_ADDRESS", "trace/machine/nothing"},
        {"GET /nodes/trace/machine/units/*", "", "404 NB_INVALID_ADDRESS", ""},
        {"PUT /nodes/trace/machine/admin/cfg", "true", "405 NB_UNSUPPORTED", ""},
        {"PUT /nodes/trace/machine/admin/cfg?for=5", "true", "405 NB_UNSUPPORTED", ""},
        {"POST " + unit, "", "405 NB_UNSUPPORTED", ""},
        {"POST /nodes/trace/machine/admin/cfg/save", "{}", "400 bad_request", "no body"},
        {"GET /units?all", "", "400 bad_request", "all"},
        {"GET /units?match", "", "400 bad_request", "match"},
        {"GET /units?match=a&match=b", "", "400 bad_request", "match"},
        {"GET /units?", "", "400 bad_request", ""},
        {"GET /health?match=a", "", "400 bad_request", "match"},
        {"GET " + unit + "?children&metadata", "", "400 bad_request", "both"},
        {"GET " + unit + "?children=1", "", "400 bad_request", "children"},
        {"GET /nodes/%zz", "", "400 bad_request", "%zz"},
        {"GET /nodes/%4", "", "400 bad_request", "%4"},
        {"GET /nodes/a%00b", "", "400 bad_request", "control"},
        {"GET /nodes/a%0ab", "", "400 bad_request", "control"},
        {"GET /nodes/%ff%fe", "", "400 bad_request", "UTF-8"},
        {"GET /nodes/\xff", "", "400 bad_request", "UTF-8"},
        {"GET /nodes/../saved", "", "400 bad_request", ".."},
        {"GET /nodes/%2e%2e/saved", "", "400 bad_request", ".."},
        {"GET /nodes/a%2fb", "", "400 bad_request", "a/b"},
        {"GET /nodes//a", "", "400 bad_request", "empty"},
        {"GET /nodes/", "", "400 bad_request", "empty"},
        {"GET nodes", "", "400 bad_request", "slash"},
        {"GET /nodes/" + std::string(1000, 'a'), "", "414 too_large", "1007"},
        {"PUT " + unit, "", "400 bad_json", ""},
        {"PUT " + unit, "true false", "400 bad_json", ""},
        {"PUT " + unit, "\"\xff\"", "400 bad_json", "UTF-8"},
        {"PUT " + unit, deep, "400 bad_json", "deeper"},
        {"PUT " + unit, deep + std::string(10'000, ']'), "400 bad_json", "deeper"},
        {"PUT " + unit, R"({"a":)" + deep, "400 bad_json", "deeper"},
        {"PUT " + unit, "null", "400 bad_json", ""},
        {"PUT " + unit, "[true,1,false]", "400 bad_json", ""},
        {"PUT " + unit, "[true,true]", "422 NB_SIZE_MISMATCH", ""},
        {"PUT " + unit, "[]", "422 NB_SIZE_MISMATCH", ""},
        {"PUT " + unit, std::string(65'536 - 4, ' ') + "5000", "422 NB_TYPE_MISMATCH", ""},
        {"PUT " + unit, std::string(65'537, ' '), "413 too_large", "65537"},
    };
    for (char const * const value : {"\"text\"", "-1", "1", "1.5", "[1,2,3]", "[1.5,2,3]", "[\"a\",\"b\",\"c\"]"}) {
        calls.push_back({"PUT " + unit, value, "422 NB_TYPE_MISMATCH", ""});
    }
    for (char const * const seconds : {"", "0", "-1", "1x", "+1", "2678401", "99999999999999999999"}) {
        calls.push_back({"PUT " + unit + "?for=" + seconds, "true", "400 bad_request", "for takes"});
    }
    expectAll(calls);
    EXPECT_EQ(units[0]->getEnablingState(), kWarningsOnly);
}

TEST_F(DoorCalls, TellWhoSwitchesAndUntilWhen)
{
    std::string const unit = "/nodes/trace/machine/units/axis/control";
    expectAll({
        {"PUT " + unit + "?for=2678400", "true", "200", R"("now":[true,true,true]}],"until":"20)"},
        {"GET /units?match=axis.control", "", "200", R"("before":[false,true,false],"by":")"},
        {"POST /nodes/trace/machine/admin/cfg/save", "", "409 switches_running",
         R"("what":[{"name":"axis.control","address":"trace/machine/units/axis/control","current":[true,true,true],)"
         R"("switch":{"until":"20)"},
        {"POST /nodes/trace/machine/admin/cfg/save?anyway", "", "200", R"({"done":"save"})"},
    });
    std::lock_guard<std::mutex> const lock(eventMutex);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].author.userId, ::getuid());
    EXPECT_THAT(events[0].author.from, testing::StartsWith("process " + std::to_string(::getpid()) + " ("));
    EXPECT_EQ(events[0].address, "trace/machine/units/axis/control");
    EXPECT_TRUE(events[0].until);
}

TEST(DoorValues, OfEachTypeAreJson)
{
    Variant value;
    auto const expect = [&value](std::string const & text) {
        EXPECT_EQ(textOf(jsonOf(&value)), text) << static_cast<unsigned>(value.type);
    };
    auto const expectBoth = [&](auto element, std::string const & text) {
        (void)value.setValue(element);
        expect(text);
        (void)value.setValue(std::vector<decltype(element)>{element, element});
        expect("[" + text + "," + text + "]");
    };
    expect("null");
    expectBoth(true, "true");
    expectBoth(std::int8_t{-128}, "-128");
    expectBoth(std::uint8_t{255}, "255");
    expectBoth(std::int16_t{-32768}, "-32768");
    expectBoth(std::uint16_t{65535}, "65535");
    expectBoth(std::int32_t{INT32_MIN}, "-2147483648");
    expectBoth(std::uint32_t{UINT32_MAX}, "4294967295");
    expectBoth(std::int64_t{INT64_MIN}, "-9223372036854775808");
    expectBoth(std::uint64_t{UINT64_MAX}, "18446744073709551615");
    expectBoth(0.5F, "0.5");
    expectBoth(-0.25, "-0.25");
    expectBoth(std::string("\xff\""), "\"\xEF\xBF\xBD\\\"\"");
    (void)value.setTimestamps({7, 8});
    expect("[7,8]");
    (void)value.setFlatbuffersCopy("table", 5);
    expect(R"({"type":"flatbuffers","size":5})");
    (void)value.setRaw("abc", 3);
    expect(R"({"type":"raw","size":3})");
    for (char const * const body : {"true", "-5", "5", "0.5", R"("text")", "[true,false]", "[1,-2]", "[1,0.5]", "[]"}) {
        value = readValue(body);
        expect(std::strcmp(body, "[1,0.5]") == 0 ? "[1.0,0.5]" : body);
    }
}

TEST(DoorValues, OfMetadataAreCheckedFirst)
{
    NodeAnswer answer{comm::nodebus::NB_OK, Variant()};
    EXPECT_THROW((void)metadataJson(answer, "node"), Refusal) << "another type";
    (void)answer.value->setFlatbuffersCopy("table", 5);
    EXPECT_THROW((void)metadataJson(answer, "node"), Refusal) << "damaged";
}

/// A node of another provider, which has nothing to say.
class SilentNode : public ConfigProviderNode
{
public:
    using ConfigProviderNode::ConfigProviderNode;
    void onRead(std::string const & /*address*/, Variant const * /*data*/, NodeCallback const & answer) override
    {
        answer(NB_OK_NO_CONTENT, nullptr);
    }
};

TEST_F(DoorTest, PassesAnAnswerWithoutContentOn)
{
    SilentNode node(manager);
    auto const other = service.makeProvider();
    (void)other->start();
    ASSERT_EQ(other->registerNode("silent", &node), NB_OK);
    open();
    HttpAnswer const answer = call("GET /nodes/silent");
    EXPECT_EQ(answer.status, 204);
    EXPECT_EQ(answer.body, "");
    door.reset();
    EXPECT_EQ(other->unregisterNode("silent"), NB_OK);
}

TEST_F(DoorTest, TellsWhatFailsWithinTheHost)
{
    host.forget = []() -> bool { throw std::runtime_error("no \xff such disk"); };
    host.figures = []() -> std::vector<DoorFigure> { throw std::bad_alloc(); };
    host.units = []() -> std::vector<DoorUnit> { throw 5; };
    open();
    EXPECT_EQ(verdict(call("DELETE /saved")), "500 failed");
    EXPECT_THAT(call("DELETE /saved").body, HasSubstr("no \xEF\xBF\xBD such disk"));
    EXPECT_EQ(verdict(call("GET /units")), "500 failed");
    EXPECT_EQ(verdict(call("GET /metrics")), "end");
}

} // namespace

} // namespace common::log::test
