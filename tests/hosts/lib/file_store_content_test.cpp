#include "store_support.h"

#include <flatbuffers/idl.h>

namespace common::log::host::test {

namespace {

using namespace testing;

std::vector<std::string> const kUnits{"axis mwe", "io.bus e", "plc "};

struct FileStoreContent : Test
{
    void put(std::string const & content) const { write(path, content); }

    TemporaryFolder folder;
    std::string path = folder.pathOf(kFileName);
    Client client{folder.pathOf("")};
    std::vector<std::string> units;
};

struct Refusal
{
    std::string content;
    StoreFault fault;
    std::int32_t number;
    char const * text;
};

std::string const kMachineField = R"("machineIdentification": "machine")";

std::vector<Refusal> const kRefusals{
    {"", StoreFault::syntax, 1, "unexpected end"},
    {"{\n\"states\": [],\n", StoreFault::syntax, 3, "unexpected end"},
    {"table EnablingStates {\n}", StoreFault::syntax, 1, "invalid literal"},
    {"{\"states\": [], " + kMachineField + "}\ntable X {}", StoreFault::syntax, 2, "invalid literal"},
    {"{\"states\": [], " + kMachineField + "}\n" + std::string("\0x", 2), StoreFault::syntax, 2, "zero"},
    {"{\"states\": [], // none\n" + kMachineField + "}", StoreFault::syntax, 1, "syntax error"},
    {"{\"states\": [], " + kMachineField + ",}", StoreFault::syntax, 1, "syntax error"},
    {"{\"states\": [], \"machineIdentification\": \"\xe9\"}", StoreFault::syntax, 1, "UTF-8"},
    {R"({"states": 1e999})", StoreFault::syntax, 0, "number overflow"},
    {std::string(100'000, '['), StoreFault::syntax, 1, "unexpected end"},
    {std::string(100'000, '[') + std::string(100'000, ']'), StoreFault::content, 1, "expecting: {"},
    {"{\"states\": [],\n\"more\\nlines\": 1}", StoreFault::content, 2, "unknown field"},
    {"{\"states\": [],\n\"states\": [], " + kMachineField + "}", StoreFault::content, 2, "more than once"},
    {R"({"states": [{"name": 5}], )" + kMachineField + "}", StoreFault::content, 1, "string constant"},
    {R"({"states": []})", StoreFault::content, 1, "machineIdentification"},
    {R"({"states": [{"errors": true}], )" + kMachineField + "}", StoreFault::content, 1, "name"},
    {std::string(FileStore::kLimitBytes + 1, ' '), StoreFault::size, 16'777'217, "above the limit"},
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

TEST_F(FileStoreContent, ThatIsRefusedIsDiagnosedAndSetAsideOnce)
{
    for (Refusal const & refusal : kRefusals) {
        SCOPED_TRACE(refusal.content.substr(0, 60));
        put(refusal.content);
        EXPECT_TRUE(client.exists());
        EXPECT_EQ(client.load(units), failure(refusal.fault));
        auto const [first, code, third, text] = client.diag();
        EXPECT_EQ(std::make_tuple(first, code, third),
                  std::make_tuple(1, static_cast<std::uint32_t>(refusal.fault), refusal.number));
        std::string const line = third > 0 && code != 0x10 ? ":" + std::to_string(third) : "";
        EXPECT_THAT(text, AllOf(StartsWith(kFileName + line + ": set aside: "), HasSubstr(refusal.text),
                                Not(HasSubstr("\n")), SizeIs(Le(140U))));
        EXPECT_FALSE(client.exists());
        EXPECT_TRUE(contentOf(path + ".bad") == refusal.content);
    }
}

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

TEST_F(FileStoreContent, IsNotBlamedForItsTypeFile)
{
    ASSERT_EQ(client.save(dataOf(kUnits)), 0);
    Variant const good = typeData();
    for (std::size_t at = 0; at < good.getSize(); ++at) {
        for (int const bit : {0x01, 0x10, 0x80, 0xff}) {
            Variant type = typeData();
            static_cast<std::uint8_t *>(type.dataPointer())[at] ^= static_cast<std::uint8_t>(bit);
            std::int32_t const result = client.load(units, kFileName, type);
            EXPECT_TRUE((result == 0 && units == kUnits) || result == failure(StoreFault::type))
                << at << " ^ " << bit << ": " << client.diag().diagText;
        }
    }
    for (std::size_t size = 0; size < good.getSize() - 8; ++size) { // behind that is padding
        Variant cut;
        (void)cut.setFlatbuffersCopy(good.dataPointer(), size);
        ASSERT_EQ(client.load(units, kFileName, cut), failure(StoreFault::type)) << size;
    }
    Variant const other = typeOf("table Point { x: int; } table Points { states: [Point]; } root_type Points;");
    EXPECT_EQ(client.load(units, kFileName, other), failure(StoreFault::type));
    EXPECT_EQ(client.loaded(), kUnits);
}

TEST_F(FileStoreContent, HasToHoldWhatTheTypeDoesNotRequire)
{
    Variant const type = typeOf("table Unit { name: string; messages: bool; warnings: bool; errors: bool; more: int; }"
                                "table Units { states: [Unit]; machineIdentification: string; } root_type Units;");
    put(R"({"states": [{"name": "axis", "more": 1}, {"errors": true}], )" + kMachineField + "}");
    EXPECT_EQ(client.load(units, kFileName, type), failure(StoreFault::field));
    EXPECT_EQ(client.diag().diagThird, 1);
    put(R"({"states": []})");
    EXPECT_EQ(client.load(units, kFileName, type), failure(StoreFault::field));
    EXPECT_EQ(client.diag().diagThird, -1);
}

TEST_F(FileStoreContent, IsNotSavedUnlessItCanBeLoaded)
{
    ASSERT_EQ(client.save(dataOf(kUnits)), 0);
    Variant unsound = dataOf(kUnits);
    static_cast<std::uint8_t *>(unsound.dataPointer())[0] ^= 0x40; // the root
    std::vector<std::string> const many(200'000, "axis.with.a.name.of.some.length.and.more.and.more mwe");
    Variant const cases[]{dataOf({"\xe9 m"}), dataOf(kUnits, "\xff"), dataOf(many), std::move(unsound), Variant()};
    for (Variant const & data : cases) {
        EXPECT_EQ(client.save(data), failure(StoreFault::data));
        EXPECT_EQ(client.diag().diagFirst, 2);
    }
    EXPECT_EQ(client.loaded(), kUnits);
}

TEST(FileStoreName, ThatLeadsOutIsRefused)
{
    TemporaryFolder folder;
    write(folder.pathOf("outside/file.json"), "outside");
    std::filesystem::create_directories(folder.pathOf("store/folder.json"));
    std::vector<std::string> names{
        "",   "/tmp/file.json",       "../outside/file.json", "folder.json/../../outside/file.json", "..", ".", "a//b",
        "a/", std::string("a\0b", 3), "folder.json"};
    bool const isWindows = std::filesystem::path::preferred_separator == '\\';
    if (isWindows) {
        names.insert(names.end(), {"..\\outside\\file.json", "C:file.json", "file.json:part", "a\\..\\b/file.json"});
    } else {
        names.insert(names.end(), {"out/file.json", "link.json", "dangling.json"});
        std::filesystem::create_symlink("../outside", folder.pathOf("store/out"));
        std::filesystem::create_symlink("../outside/file.json", folder.pathOf("store/link.json"));
        std::filesystem::create_symlink("../outside/new.json", folder.pathOf("store/dangling.json"));
    }
    std::vector<std::string> const before = namesIn(folder.pathOf(""));
    Client client(folder.pathOf("store"));
    std::vector<std::string> units;
    for (std::string const & name : names) {
        SCOPED_TRACE(name);
        bool const isOfSystem = name.find_first_of("\\:") != std::string::npos; // which has other names than the store
        std::int32_t const refused = failure(isOfSystem ? StoreFault::system : StoreFault::name);
        EXPECT_EQ(client.save(dataOf(kUnits), name), refused);
        EXPECT_EQ(client.load(units, name), refused);
        EXPECT_EQ(client.remove(name), refused);
        EXPECT_EQ(client.exists(name), isOfSystem);
    }
    EXPECT_EQ(contentOf(folder.pathOf("outside/file.json")), "outside");
    EXPECT_EQ(namesIn(folder.pathOf("")), before);
}

} // namespace common::log::host::test
