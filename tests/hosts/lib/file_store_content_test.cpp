#include "store_support.h"

#include <gmock/gmock.h>

#include <flatbuffers/idl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace common::log::host::test {

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> const kUnits{"axis mwe", "io.bus e", "plc "};

class FileStoreContent : public testing::Test
{
protected:
    void put(std::string const & content) const { write(path, content); }

    TemporaryFolder folder;
    std::string path = folder.pathOf(kFileName);
    Client client{folder.pathOf("")};
    std::vector<std::string> units;
};

struct Refusal
{
    char const * name;
    std::string content;
    StoreFault fault;
    std::int32_t number;
    char const * text;
};

std::string const kMachineField = "\"machineIdentification\": \"machine\"";

std::vector<Refusal> const kRefusals{
    {"empty", "", StoreFault::syntax, 1, "unexpected end"},
    {"cut", "{\n\"states\": [],\n", StoreFault::syntax, 3, "unexpected end"},
    {"schema", "table EnablingStates {\n}", StoreFault::syntax, 1, "invalid literal"},
    {"schemaBehind", "{\"states\": [], " + kMachineField + "}\ntable X {}", StoreFault::syntax, 2, "expected end"},
    {"zeroBehind", "{\"states\": [], " + kMachineField + "}\n" + std::string("\0x", 2), StoreFault::syntax, 2, "zero"},
    {"comment", "{\"states\": [], // none\n" + kMachineField + "}", StoreFault::syntax, 1, "syntax error"},
    {"bareName", "{states: [], " + kMachineField + "}", StoreFault::syntax, 1, "syntax error"},
    {"lastComma", "{\"states\": [], " + kMachineField + ",}", StoreFault::syntax, 1, "syntax error"},
    {"notUtf8", "{\"states\": [], \"machineIdentification\": \"\xe9\"}", StoreFault::syntax, 1, "UTF-8"},
    {"hugeNumber", "{\"states\": 1e999}", StoreFault::syntax, 0, "number overflow"},
    {"deep", std::string(100'000, '['), StoreFault::syntax, 1, "unexpected end"},
    {"deepValid", std::string(100'000, '[') + std::string(100'000, ']'), StoreFault::content, 1, "expecting: {"},
    {"array", "[]", StoreFault::content, 1, "expecting: {"},
    {"unknownField", "{\"states\": [],\n\"more\\nlines\": 1}", StoreFault::content, 2, "unknown field"},
    {"twice", "{\"states\": [],\n\"states\": [], " + kMachineField + "}", StoreFault::content, 2, "more than once"},
    {"otherType", "{\"states\": [{\"name\": 5}], " + kMachineField + "}", StoreFault::content, 1, "string constant"},
    {"noMachine", "{\"states\": []}", StoreFault::content, 1, "machineIdentification"},
    {"nullStates", "{\"states\": null,\n" + kMachineField + "}", StoreFault::content, 2, "states"},
    {"noName", "{\"states\": [{\"errors\": true}], " + kMachineField + "}", StoreFault::content, 1, "name"},
    {"tooLarge", std::string(FileStore::kLimitBytes + 1, ' '), StoreFault::size, 16'777'217, "above the limit"},
};

class FileStoreRefusal : public FileStoreContent, public testing::WithParamInterface<Refusal>
{
};

/// The type file of a schema.
Variant typeOf(char const * schema)
{
    flatbuffers::Parser parser;
    EXPECT_TRUE(parser.Parse(schema)) << parser.error_;
    parser.Serialize();
    Variant type;
    (void)type.setFlatbuffersCopy(parser.builder_.GetBufferPointer(), parser.builder_.GetSize());
    return type;
}

} // namespace

TEST_P(FileStoreRefusal, IsDiagnosedAndSetAsideOnce)
{
    put(GetParam().content);
    EXPECT_TRUE(client.exists());
    EXPECT_EQ(client.load(units), -static_cast<std::int32_t>(GetParam().fault));
    PersistenceDetailDiag const diag = client.diag();
    EXPECT_EQ(diag.diagFirst, 1);
    EXPECT_EQ(diag.diagCode, static_cast<std::uint32_t>(GetParam().fault)) << diag.diagText;
    EXPECT_EQ(diag.diagThird, GetParam().number) << diag.diagText;
    bool const hasLine = GetParam().number > 0 && GetParam().fault != StoreFault::size;
    EXPECT_THAT(diag.diagText,
                AllOf(HasSubstr(path + (hasLine ? ":" + std::to_string(GetParam().number) : "") + ": "),
                      HasSubstr(GetParam().text), HasSubstr("; set aside"), testing::Not(HasSubstr("\n"))));
    EXPECT_LT(diag.diagText.size(), 800U);
    EXPECT_FALSE(client.exists());
    EXPECT_TRUE(contentOf(path + ".bad") == GetParam().content);
}
INSTANTIATE_TEST_SUITE_P(Content, FileStoreRefusal, testing::ValuesIn(kRefusals),
                         [](auto const & i) { return std::string(i.param.name); });

TEST_F(FileStoreContent, CanBeReadAndEditedByPeople)
{
    ASSERT_EQ(client.save(dataOf({"axis \"x\"\n\x01\u00e9 w"})), 0) << client.diag().diagText;
    std::string content = contentOf(path);
    EXPECT_THAT(content, AllOf(HasSubstr("\"messages\": false,\n"), HasSubstr("\"warnings\": true,\n")));
    EXPECT_THAT(client.loaded(), ElementsAre("axis \"x\"\n\x01\u00e9 w"));
    content.replace(content.find("false"), 5, "true"); // the messages
    content.insert(0, "\xef\xbb\xbf");                 // as some editors do
    put(content.append(FileStore::kLimitBytes - content.size(), ' '));
    EXPECT_THAT(client.loaded(), ElementsAre("axis \"x\"\n\x01\u00e9 mw"));
}

// Each byte of a file is changed in several ways, taken out, doubled, and made the last one.
TEST_F(FileStoreContent, NeverGetsThroughDamaged)
{
    ASSERT_EQ(client.save(dataOf(kUnits)), 0);
    std::string const good = contentOf(path);
    std::vector<std::string> damaged;
    for (std::size_t at = 0; at < good.size(); ++at) {
        for (int const replacement : {good[at] ^ 1, good[at] ^ 0x80, 0, 0xff, int{'"'}, int{'}'}, int{'['}, int{'9'}}) {
            damaged.push_back(std::string(good).replace(at, 1, 1, static_cast<char>(replacement)));
        }
        damaged.push_back(std::string(good).erase(at, 1));
        damaged.push_back(std::string(good).insert(at, 1, good[at]));
        damaged.push_back(good.substr(0, at));
    }
    int refused = 0;
    for (std::string const & content : damaged) {
        put(content);
        std::int32_t const result = client.load(units);
        if (result == 0) {
            ASSERT_EQ(units.size(), kUnits.size()) << content; // in which a name or a flag may be another
            continue;
        }
        ++refused;
        ASSERT_GE(client.diag().diagCode, static_cast<std::uint32_t>(StoreFault::size)) << client.diag().diagText;
        ASSERT_FALSE(client.exists()) << content;
        ASSERT_TRUE(contentOf(path + ".bad") == content);
    }
    std::size_t const end = good.rfind('}');
    for (std::size_t size = 0; size <= end; ++size) {
        put(good.substr(0, size));
        ASSERT_NE(client.load(units), 0) << good.substr(0, size);
    }
    EXPECT_GT(damaged.size(), 3000U);
    EXPECT_GT(refused, static_cast<int>(damaged.size() / 2));
}

TEST_F(FileStoreContent, IsNotBlamedForItsTypeFile)
{
    ASSERT_EQ(client.save(dataOf(kUnits)), 0);
    Variant const good = typeData();
    for (std::size_t at = 0; at < good.getSize(); ++at) {
        for (int const bit : {0x01, 0x10, 0x80, 0xff}) {
            Variant type = typeData();
            static_cast<std::uint8_t *>(type.dataPointer())[at] ^= static_cast<std::uint8_t>(bit);
            std::int32_t const result = client.load(units, kFileName, type);
            EXPECT_TRUE((result == 0 && units == kUnits) || result == -static_cast<std::int32_t>(StoreFault::type))
                << at << " ^ " << bit << ": " << client.diag().diagText;
        }
    }
    for (std::size_t size = 0; size < good.getSize() - 8; ++size) { // behind that is padding
        Variant cut;
        (void)cut.setFlatbuffersCopy(good.dataPointer(), size);
        ASSERT_EQ(client.load(units, kFileName, cut), -static_cast<std::int32_t>(StoreFault::type)) << size;
    }
    Variant const other = typeOf("table Point { x: int; } table Points { states: [Point]; } root_type Points;");
    EXPECT_EQ(client.load(units, kFileName, other), -static_cast<std::int32_t>(StoreFault::type));
    EXPECT_EQ(client.loaded(), kUnits);
}

TEST_F(FileStoreContent, HasToHoldWhatTheTypeDoesNotRequire)
{
    Variant const type = typeOf("table Unit { name: string; messages: bool; warnings: bool; errors: bool; more: int; }"
                                "table Units { states: [Unit]; machineIdentification: string; } root_type Units;");
    put("{\"states\": [{\"name\": \"axis\", \"more\": 1}, {\"errors\": true}], " + kMachineField + "}");
    EXPECT_EQ(client.load(units, kFileName, type), -static_cast<std::int32_t>(StoreFault::field));
    EXPECT_EQ(client.diag().diagThird, 1);
    put("{\"states\": []}");
    EXPECT_EQ(client.load(units, kFileName, type), -static_cast<std::int32_t>(StoreFault::field));
    EXPECT_EQ(client.diag().diagThird, -1);
}

TEST_F(FileStoreContent, IsNotSavedUnlessItCanBeLoaded)
{
    ASSERT_EQ(client.save(dataOf(kUnits)), 0);
    Variant unsound = dataOf(kUnits);
    static_cast<std::uint8_t *>(unsound.dataPointer())[0] ^= 0x40; // the root
    Variant text;
    (void)text.setValue(std::string_view("what is no flatbuffer"));
    std::vector<std::string> const many(200'000, "axis.with.a.name.of.some.length.and.more.and.more mwe");
    Variant const cases[]{dataOf({"\xe9 m"}), dataOf(kUnits, "\xff"), dataOf(many),
                          std::move(unsound), std::move(text),        Variant()};
    for (Variant const & data : cases) {
        EXPECT_EQ(client.save(data), -static_cast<std::int32_t>(StoreFault::data));
        EXPECT_EQ(client.diag().diagFirst, 2);
    }
    EXPECT_EQ(client.loaded(), kUnits);
}

struct Name
{
    char const * name;
    std::string path;
};
class FileStoreName : public testing::TestWithParam<Name>
{
};

TEST_P(FileStoreName, ThatLeadsOutIsRefused)
{
    TemporaryFolder folder;
    write(folder.pathOf("outside/file.json"), "outside");
    std::filesystem::create_directories(folder.pathOf("store/folder.json"));
    std::filesystem::create_symlink("../outside", folder.pathOf("store/out"));
    std::filesystem::create_symlink("../outside/file.json", folder.pathOf("store/link.json"));
    std::filesystem::create_symlink("../outside/new.json", folder.pathOf("store/dangling.json"));
    ASSERT_EQ(::mkfifo(folder.pathOf("store/pipe.json").c_str(), 0600), 0);
    std::vector<std::string> const before = namesIn(folder.pathOf(""));

    Client client(folder.pathOf("store"));
    std::vector<std::string> units;
    constexpr auto kRefused = -static_cast<std::int32_t>(StoreFault::name);
    EXPECT_EQ(client.save(dataOf(kUnits), GetParam().path), kRefused) << client.diag().diagText;
    EXPECT_EQ(client.load(units, GetParam().path), kRefused) << client.diag().diagText;
    EXPECT_EQ(client.remove(GetParam().path), kRefused) << client.diag().diagText;
    EXPECT_FALSE(client.exists(GetParam().path));
    EXPECT_EQ(contentOf(folder.pathOf("outside/file.json")), "outside");
    EXPECT_EQ(namesIn(folder.pathOf("")), before);
}
INSTANTIATE_TEST_SUITE_P(Path, FileStoreName,
                         testing::Values(Name{"empty", ""}, Name{"absolute", "/tmp/file.json"},
                                         Name{"up", "../outside/file.json"},
                                         Name{"upLater", "folder.json/../../outside/file.json"}, Name{"onlyUp", ".."},
                                         Name{"itself", "."}, Name{"twoSlashes", "a//b"}, Name{"lastSlash", "a/"},
                                         Name{"zeroByte", std::string("a\0b", 3)}, Name{"throughLink", "out/file.json"},
                                         Name{"link", "link.json"}, Name{"danglingLink", "dangling.json"},
                                         Name{"folder", "folder.json"}, Name{"pipe", "pipe.json"},
                                         Name{"throughFile", "pipe.json/x"}),
                         [](auto const & i) { return std::string(i.param.name); });

} // namespace common::log::host::test
