#include <common/log/host/node_service.h>

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <iterator>
#include <map>
#include <stdexcept>
#include <thread>

namespace common::log::host::test {

namespace {

using namespace comm::nodebus;
using testing::ElementsAre;
using testing::HasSubstr;

using Texts = std::vector<std::string>;

struct Call
{
    std::string operation; ///< the handler that was called
    std::string const & address;
    Variant const * data;
    NodeCallback const & answer;
};
using Body = std::function<void(Call const &)>;

/// Answers everything by one function.
class TestNode : public IProviderNode
{
public:
    explicit TestNode(Body body) : m_body(std::move(body)) {}

private:
    using Text = std::string const;
    void onCreate(Text & at, Variant const * data, NodeCallback const & to) override
    {
        m_body({"create", at, data, to});
    }
    void onRemove(Text & at, NodeCallback const & to) override { m_body({"remove", at, nullptr, to}); }
    void onBrowse(Text & at, NodeCallback const & to) override { m_body({"browse", at, nullptr, to}); }
    void onRead(Text & at, Variant const * data, NodeCallback const & to) override { m_body({"read", at, data, to}); }
    void onWrite(Text & at, Variant const * data, NodeCallback const & to) override { m_body({"write", at, data, to}); }
    void onMetadata(Text & at, NodeCallback const & to) override { m_body({"metadata", at, nullptr, to}); }

    Body m_body;
};

template <typename Value>
Body answering(Value const & content, NbResult result = NB_OK)
{
    return [=](Call const & call) {
        Variant value;
        (void)value.setValue(content);
        call.answer(result, &value);
    };
}

/// A service, a provider at it, and its nodes.
struct Bus
{
    NbResult add(std::string const & address, Body const & body)
    {
        return provider->registerNode(address, &nodes.emplace(address, body)->second);
    }

    Texts reports;
    std::multimap<std::string, TestNode> nodes;
    NodeService service{[this](std::string const & text) { reports.push_back(text); }};
    std::unique_ptr<IProvider> provider = service.makeProvider();
};

class NodeServiceTest : public testing::Test, protected Bus
{
};

struct Tree
{
    Texts registered;
    std::map<std::string, std::string> answers; ///< by address; empty where there is no such address
};

Tree const kWhoAnswers[] = {
    {{"a/**", "a/*", "a", "a/b/**"},
     {{"a", "a"}, {"a/c", "a/*"}, {"a/c/d", "a/**"}, {"a/b", "a/b/**"}, {"a/b/c/d", "a/b/**"}, {"b", ""}}},
    {{"a/b"}, {{"a", ""}, {"a/b", "a/b"}, {"a/b/c", ""}}},
    {{"a/*"}, {{"a", "a/*"}, {"a/b", "a/*"}, {"a/b/c", ""}}},
    {{"a/**"}, {{"a", "a/**"}, {"a/b/c/d", "a/**"}, {"ab", ""}}},
    {{"a/*", "a/**"}, {{"a", "a/*"}, {"a/b/c", "a/**"}}},
    {{"a/**", "a/b/*"}, {{"a/b/c", "a/b/*"}, {"a/b/c/d", "a/**"}}},
    {{"a/**"}, {{"", ""}, {"/a", ""}, {"a/", ""}, {"a//b", ""}, {"a/*", ""}, {"a/b\n", ""}}}, // malformed
};
Tree const kBrowsing[] = {
    {{"trace/S/units/**", "trace/S/units", "trace/S/admin/cfg/*", "trace/S-2/x", "trace/S/admin/cfg/save/deep"},
     {{"", "trace"},
      {"trace", "S S-2"},
      {"trace/S", "admin units"},
      {"trace/S/admin", "cfg"},
      {"trace/S/admin/cfg", "save load"},
      {"trac", ""},
      {"trace/", ""}}},
    {{"a", "a/load", "a/other/x"}, {{"a", "save load other"}}},
    {{"unknown/**", "unknown/b/c"}, {{"unknown/b", "c"}, {"unknown/x", ""}}},
};

TEST(NodeService, AsksTheMostSpecificNodeAndShowsTheLevelsToOthers)
{
    for (bool const isBrowsed : {false, true}) {
        for (Tree const & tree : isBrowsed ? std::vector<Tree>(std::begin(kBrowsing), std::end(kBrowsing))
                                           : std::vector<Tree>(std::begin(kWhoAnswers), std::end(kWhoAnswers))) {
            Bus bus;
            for (std::string const & registered : tree.registered) {
                Body const unknown = answering(Texts(), NB_INVALID_ADDRESS);
                Body const known = isBrowsed ? answering(Texts{"save", "load"}) : answering(registered);
                ASSERT_EQ(bus.add(registered, registered == "unknown/**" ? unknown : known), NB_OK);
            }
            for (auto const & [address, expected] : tree.answers) {
                NodeAnswer const answer = isBrowsed ? bus.service.browse(address) : bus.service.read(address);
                EXPECT_EQ(answer.result, expected.empty() ? NB_INVALID_ADDRESS : NB_OK) << address;
                std::string shown(answer.value && !isBrowsed ? answer.value->getText() : "");
                for (std::string const & child : answer.value && isBrowsed ? answer.value->getStrings() : Texts()) {
                    shown += (shown.empty() ? "" : " ") + child;
                }
                EXPECT_EQ(shown, expected) << address;
            }
        }
    }
}

TEST_F(NodeServiceTest, RefusesWhatCannotBeRegistered)
{
    for (char const * malformed :
         {"", "/", "/a", "a/", "a//b", "*", "**", "/*", "/**", "a/*/b", "a/b*", "a/***", "a\x7F"}) {
        EXPECT_EQ(add(malformed, answering(true)), NB_INVALID_ADDRESS) << malformed;
    }
    EXPECT_EQ(provider->registerNode("a", nullptr), NB_INVALID_HANDLE);
    EXPECT_EQ(add("a/*", answering(true)), NB_OK);
    EXPECT_EQ(service.makeProvider()->registerNode("a/*", &nodes.begin()->second), NB_ALREADY_EXISTS);
    EXPECT_EQ(provider->unregisterNode("a"), NB_INVALID_ADDRESS);
    EXPECT_EQ(service.makeProvider()->unregisterNode("a/*"), NB_INVALID_ADDRESS) << "somebody else's";
    EXPECT_EQ(provider->unregisterNode("a/*"), NB_OK);
    EXPECT_EQ(service.browse("").result, NB_INVALID_ADDRESS) << "nothing is left of it";
}

TEST_F(NodeServiceTest, HandsEachOperationToItsHandlerAndItsResultBack)
{
    Variant data;
    Texts called;
    auto const body = [&](Call const & call) {
        called.push_back(call.operation + " " + call.address + (call.data == &data ? " data" : ""));
        call.answer(NB_LIMIT_MAX, nullptr);
    };
    ASSERT_EQ(add("a/**", body), NB_OK);
    for (NodeAnswer const & answer : {service.create("a/b", &data), service.remove("a/b"), service.browse("a/b"),
                                      service.read("a/b", &data), service.write("a/b", &data), service.metadata("a")}) {
        EXPECT_EQ(answer.result, NB_LIMIT_MAX);
        EXPECT_FALSE(answer.value);
    }
    EXPECT_THAT(called, ElementsAre("create a/b data", "remove a/b", "browse a/b", "read a/b data", "write a/b data",
                                    "metadata a"));
    EXPECT_THAT(reports, testing::IsEmpty());
}

TEST_F(NodeServiceTest, AnswersWithACopyOfTheValue)
{
    ASSERT_EQ(add("list", answering(Texts{"x", "", "yz"})), NB_OK);
    ASSERT_EQ(add("number", answering(-0.5)), NB_OK);
    auto const body = [](Call const & call) {
        std::string buffer(100, 'b');
        Variant view;
        (void)view.setFlatbuffersView(buffer.data(), buffer.size());
        call.answer(NB_OK_NO_CONTENT, &view);
        buffer.assign(100, '-');
    };
    ASSERT_EQ(add("view", body), NB_OK);
    EXPECT_THAT(service.read("list").value->getStrings(), ElementsAre("x", "", "yz"));
    EXPECT_EQ(service.read("number").value->getValue<double>(), -0.5);
    NodeAnswer const answer = service.metadata("view");
    EXPECT_EQ(answer.result, NB_OK_NO_CONTENT);
    EXPECT_EQ(answer.value->type, VariantType::flatbuffers);
    EXPECT_FALSE(answer.value->shared);
    EXPECT_EQ(answer.value->getText(), std::string(100, 'b'));
}

TEST_F(NodeServiceTest, TurnsMisuseIntoAFailureAndAReport)
{
    NodeCallback kept;
    auto const twice = [](Call const & call) { call.answer(NB_OK, nullptr), call.answer(NB_OK, nullptr); };
    std::map<std::string, Body> const handlers = {
        {"exception \"why\"", [](Call const &) { throw std::runtime_error("why"); }},
        {"unknown type", [](Call const & call) { call.answer(NB_OK, nullptr), throw 1; }},
        {"did not answer", [&](Call const & call) { kept = call.answer; }},
        {"answered 2 times", twice}};
    for (auto const & [fault, body] : handlers) {
        ASSERT_EQ(add("a/*", body), NB_OK);
        EXPECT_EQ(service.read("a/b").result, NB_FAILED) << fault;
        ASSERT_EQ(reports.size(), 1U) << fault;
        EXPECT_THAT(reports[0], testing::AllOf(HasSubstr("'a/*'"), HasSubstr(fault), HasSubstr("read of 'a/b'")));
        reports.clear();
        EXPECT_EQ(provider->unregisterNode("a/*"), NB_OK);
    }
    Variant late;
    (void)late.setValue(Texts{"late"});
    kept(NB_OK, &late);
    EXPECT_THAT(reports, testing::IsEmpty());
    NodeService throwing([](std::string const &) { throw 1; });
    auto const other = throwing.makeProvider();
    ASSERT_EQ(other->registerNode("a", &nodes.begin()->second), NB_OK);
    EXPECT_EQ(throwing.read("a").result, NB_FAILED);
}

TEST_F(NodeServiceTest, LetsAHandlerCallTheClientButNotWaitForItself)
{
    Texts results;
    ASSERT_EQ(add("inner", answering(true)), NB_OK);
    auto const body = [&](Call const & call) {
        if (call.operation == "read") {
            for (NbResult const result : {service.write("outer", nullptr).result, provider->unregisterNode("outer"),
                                          provider->stop(), service.stop(), provider->unregisterNode("inner")}) {
                results.emplace_back(result.toString());
            }
        }
        call.answer(NB_OK, nullptr);
    };
    ASSERT_EQ(add("outer", body), NB_OK);
    EXPECT_EQ(service.read("outer").result, NB_OK);
    EXPECT_THAT(results, ElementsAre("NB_OK", "NB_WOULD_BLOCK", "NB_WOULD_BLOCK", "NB_WOULD_BLOCK", "NB_OK"));
    EXPECT_EQ(service.write("outer", nullptr).result, NB_OK) << "nothing has changed";
    EXPECT_EQ(service.read("inner").result, NB_INVALID_ADDRESS);
}

/// How a node ends.
struct Ender
{
    std::function<void(Bus &)> end;
    NbResult later; ///< what the address answers from then on
};

TEST(NodeService, WaitsAtTheEndOfANodeForItsRunningCallsAndKeepsLaterOnesOut)
{
    for (auto const & [end, later] :
         {Ender{[](Bus & bus) { EXPECT_EQ(bus.provider->unregisterNode("a"), NB_OK); }, NB_INVALID_ADDRESS},
          Ender{[](Bus & bus) { EXPECT_EQ(bus.provider->stop(), NB_OK); }, NB_INVALID_ADDRESS},
          Ender{[](Bus & bus) { bus.provider.reset(); }, NB_INVALID_ADDRESS},
          Ender{[](Bus & bus) { EXPECT_EQ(bus.service.stop(), NB_OK); }, NB_CLIENT_NOT_CONNECTED}}) {
        std::promise<void> entered;
        std::promise<void> release;
        std::atomic<bool> hasLeft{false};
        Bus bus;
        auto const body = [&](Call const & call) {
            if (call.operation == "write") {
                entered.set_value();
                release.get_future().wait();
                hasLeft = true;
            }
            call.answer(NB_OK, nullptr);
        };
        ASSERT_EQ(bus.add("a", body), NB_OK);
        std::thread client([&] { EXPECT_EQ(bus.service.write("a", nullptr).result, NB_OK); });
        entered.get_future().wait();
        EXPECT_EQ(bus.service.read("a").result, NB_OK) << "beside the other call";
        std::thread ending([&, &end = end] {
            end(bus);
            EXPECT_TRUE(hasLeft);
        });
        while (bus.service.read("a").result == NB_OK) {
            std::this_thread::yield();
        }
        EXPECT_EQ(bus.service.read("a").result, later);
        release.set_value();
        client.join();
        ending.join();
    }
}

TEST_F(NodeServiceTest, EndsUnderLoadOfClientsAndOfNodesThatComeAndGo)
{
    std::atomic<bool> isPassingThere{false};
    std::atomic<int> passed{0};
    auto const passing = [&](Call const & call) {
        std::this_thread::yield();
        call.answer(isPassingThere ? NB_OK : NB_LIMIT_MIN, nullptr);
        ++passed;
    };
    ASSERT_EQ(add("steady/**", answering(Texts(1, "steady"))), NB_OK);
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([this] {
            for (NbResult last = NB_OK; last != NB_CLIENT_NOT_CONNECTED;) {
                EXPECT_NE(service.read("passing/x").result, NB_LIMIT_MIN) << "by a node that was given up";
                NodeAnswer const steady = service.browse("steady/x");
                last = steady.result;
                EXPECT_TRUE(last != NB_OK || steady.value->getStrings() == Texts(1, "steady"));
            }
        });
    }
    for (int number = 0; number < 50; ++number) {
        TestNode node(passing);
        isPassingThere = true;
        EXPECT_EQ(provider->registerNode("passing/*", &node), NB_OK);
        for (int const before = passed; passed == before;) {
            std::this_thread::yield();
        }
        EXPECT_EQ(provider->unregisterNode("passing/*"), NB_OK);
        isPassingThere = false;
    }
    EXPECT_EQ(service.stop(), NB_OK);
    nodes.clear();
    for (std::thread & thread : threads) {
        thread.join();
    }
    EXPECT_EQ(provider->start(), NB_CLIENT_NOT_CONNECTED);
    EXPECT_EQ(add("new", answering(true)), NB_CLIENT_NOT_CONNECTED);
    EXPECT_EQ(provider->unregisterNode("steady/**"), NB_OK) << "an owner goes its own way to the end";
}

} // namespace

} // namespace common::log::host::test
