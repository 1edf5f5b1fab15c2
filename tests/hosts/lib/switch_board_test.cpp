#include "hosts/tracehost/temporary_folder.h"
#include "support/trace_test.h"

#include <common/log/host/file_store.h>
#include <common/log/host/state_text.h>
#include <common/log/host/switch_board.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <random>
#include <sstream>
#include <thread>

namespace common::log::test {

using namespace common::log::host;
using namespace common::log::trace;
using namespace comm::nodebus;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char const * kUnits = "trace/machine/units";
constexpr char const * kConfig = "trace/machine/admin/cfg";
SwitchAuthor const kAuthor{1000, "maria", "a test"};

std::string addressOf(std::string const & part) { return part == "." ? kUnits : kUnits + ("/" + part); }

/// Flags in letters as an array of three, "on" as one for all, "text" as what is no state.
Variant valueOf(std::string const & text)
{
    Variant value;
    if (std::optional<EnablingState> const state = parseFlags(text)) {
        (void)value.setValue(std::vector<bool>{state->messages, state->warnings, state->errors});
    } else if (text == "on") {
        (void)value.setValue(true);
    } else {
        (void)value.setValue(std::string_view(text));
    }
    return value;
}

/// A unit's node that answers a write as it is told.
struct OddNode final : IProviderNode
{
    void onCreate(std::string const &, Variant const *, NodeCallback const & callback) override
    {
        callback(NB_FAILED, {});
    }
    void onRemove(std::string const &, NodeCallback const & callback) override { callback(NB_FAILED, nullptr); }
    void onBrowse(std::string const &, NodeCallback const & callback) override { callback(NB_OK, nullptr); }
    void onMetadata(std::string const &, NodeCallback const & callback) override { callback(NB_FAILED, nullptr); }
    void onRead(std::string const &, Variant const *, NodeCallback const & callback) override
    {
        Variant const value = valueOf(flags);
        callback(NB_OK, &value);
    }
    void onWrite(std::string const &, Variant const *, NodeCallback const & callback) override
    {
        NbResult const answered = std::exchange(answer, NB_OK);
        flags = isFailure(answered) ? flags : flags == "w" ? "mwe" : "w";
        callback(answered, nullptr);
    }
    std::string flags = "w";
    NbResult answer = NB_OK; ///< of the next write
};

/// One run of a host, from its start to its end.
struct Host
{
    Host(std::string const & folder, SwitchBoard::Report const & report, SwitchBoard::Clock const & clock)
        : store(folder), board(service, {kUnits, kConfig}, report, clock)
    {
        manager->setBundleRootPath(COMMON_LOG_TRACE_BUNDLE_ROOT);
        manager->setPersistenceHelper(store.helper());
        provider.start(service.makeProvider().release());
    }
    ~Host() { provider.stop(); }
    void add(std::string const & name, std::string const & flags)
    {
        units[name] = std::make_unique<Log>(name.c_str(), nullptr);
        EXPECT_EQ(manager->addTraceUnit(units[name].get(), *parseFlags(flags)), TRACE_OK) << name;
    }
    NbResult set(std::string const & address, std::string const & flags, std::optional<std::chrono::seconds> duration)
    {
        return board.write(address, valueOf(flags), duration, kAuthor).result;
    }
    std::string states() const
    {
        std::string text;
        for (auto const & [name, unit] : units) {
            text += (text.empty() ? "" : " ") + name + "=" + flagsText(unit->getEnablingState());
        }
        return text;
    }

    FileStore store;
    std::map<std::string, std::unique_ptr<Log>> units;
    std::shared_ptr<Manager> manager = std::make_shared<Manager>();
    NodeService service{[](std::string const & text) { ADD_FAILURE() << text; }};
    NodebusProvider provider{manager};
    SwitchBoard board;
};

/// A board by moved time, and a language for what happens to it.
class SwitchBoardTest : public TraceTest
{
protected:
    SwitchBoardTest() { start({{"a.x", "w"}, {"a.y", "-"}, {"b", "m"}}); }

    void start(std::map<std::string, std::string> const & units)
    {
        given = units;
        host.reset();
        host = std::make_unique<Host>(
            folder.pathOf(""), [this](SwitchEvent const & event) { take(event); },
            [this] { return std::chrono::steady_clock::time_point(now.load()); });
        for (auto const & [name, flags] : given) {
            host->add(name, flags);
        }
    }
    void take(SwitchEvent const & event)
    {
        constexpr char const * kKinds[] = {"set", "putBack", "leftAlone", "gone", "failed", "saved", "loaded"};
        (void)host->board.running(); // would wait for ever for a lock that is held
        std::string const address = event.address == kUnits ? "." : event.address.substr(sizeof "trace/machine/units");
        std::lock_guard<std::mutex> const lock(mutex);
        EXPECT_EQ(event.author.userName, kAuthor.userName);
        events.push_back(kKinds[static_cast<int>(event.kind)] +
                         (event.now.empty() ? "" : " " + address + " " + event.before + ">" + event.now));
    }
    /// "set ADDRESS FLAGS [SECONDS]", "client ADDRESS FLAGS", "wait SECONDS", "add NAME FLAGS", "remove NAME",
    /// "save [anyway]", "load", "end" or "restart". What fails is noted among the events.
    void run(std::string const & step)
    {
        std::istringstream words(step);
        std::string verb;
        std::string what;
        std::string flags;
        long long seconds = -1;
        words >> verb >> what >> flags >> seconds;
        NbResult result = NB_OK;
        if (verb == "set") {
            std::optional<std::chrono::seconds> duration(seconds);
            result = host->set(addressOf(what), flags, words ? duration : std::nullopt);
        } else if (verb == "client") {
            Variant const value = valueOf(flags);
            result = host->service.write(addressOf(what), &value).result;
        } else if (verb == "wait") {
            now = now.load() + std::chrono::seconds(std::stoll(what));
            host->board.expire();
        } else if (verb == "add") {
            host->add(what, flags);
        } else if (verb == "remove") {
            EXPECT_EQ(host->manager->removeTraceUnit(host->units.at(what).get()), TRACE_OK);
            host->units.erase(what);
        } else if (verb == "save") {
            SwitchBoard::SaveOutcome const outcome = host->board.save(what == "anyway", kAuthor);
            result = outcome.result;
            EXPECT_EQ(outcome.running.empty(), !isFailure(result));
        } else if (verb == "end") {
            host->board.endAll();
        } else if (verb == "load") {
            result = host->board.load(kAuthor);
        } else {
            ASSERT_EQ(verb, "restart");
            start(std::map<std::string, std::string>(given));
        }
        if (isFailure(result)) {
            events.emplace_back(result.toString());
        }
    }

    tracehost::test::TemporaryFolder folder;
    std::atomic<std::chrono::nanoseconds> now{std::chrono::hours(1)};
    std::mutex mutex;
    std::vector<std::string> events;
    std::map<std::string, std::string> given;
    std::unique_ptr<Host> host;
};

/// Of each line what it shows, the steps, the states at the end where they are not those of the start, and the events.
constexpr char const * kTable = R"(Due: set a/x mwe 10; wait 10 =  = set a/x w>mwe; putBack a/x mwe>w
NotDue: set a/x mwe 10; wait 9 = a.x=mwe a.y=- b=m = set a/x w>mwe
NoTime: set a/x mwe 0; wait 0 =  = set a/x w>mwe; putBack a/x mwe>w
Endless: set b on 9223372036854775807; wait 3000000000 = a.x=w a.y=- b=mwe = set b m>mwe
ForEver: set a/x on; wait 9999999 = a.x=mwe a.y=- b=m = set a/x w>mwe
Group: set a mwe 10; wait 10 =  = set a various>mwe; putBack a/x mwe>w; putBack a/y mwe>-
Root: set . e; set . - 10; set b w; wait 10 = a.x=e a.y=e b=w = set . various>e; set . e>-; set b ->w; putBack a/x ->e; putBack a/y ->e
ShorterAbove: set a/x mwe 100; set a/x e 10; wait 10 = a.x=mwe a.y=- b=m = set a/x w>mwe; set a/x mwe>e; putBack a/x e>mwe
ShorterAboveBothDue: set a/x mwe 20; set a/x e 10; wait 20 =  = set a/x w>mwe; set a/x mwe>e; putBack a/x e>w
LongerAbove: set a/x mwe 10; set a/x e 20; wait 10; wait 10 =  = set a/x w>mwe; set a/x mwe>e; putBack a/x e>w
GroupAboveUnit: set a/x mwe 99; set a e 10; wait 10 = a.x=mwe a.y=- b=m = set a/x w>mwe; set a various>e; putBack a/x e>mwe; putBack a/y e>-
ForEverAbove: set a/x mwe 10; set a/x e; wait 10 = a.x=e a.y=- b=m = set a/x w>mwe; set a/x mwe>e
Foreign: set a/x mwe 10; client a/x e; wait 10 = a.x=e a.y=- b=m = set a/x w>mwe; leftAlone a/x mwe>e
ForeignBelow: set a/x mwe 99; client a/x e; set a/x m 10; wait 99 = a.x=e a.y=- b=m = set a/x w>mwe; leftAlone a/x mwe>e; set a/x e>m; putBack a/x m>e
Gone: set b e 10; remove b; wait 10; add b m; wait 99 =  = set b m>e; gone b e>m
BackAsGiven: set b e 10; remove b; add b w; wait 10 = a.x=w a.y=- b=w = set b m>e; leftAlone b e>w
BackAsLeft: set b e 10; remove b; add b e; wait 10 =  = set b m>e; putBack b e>m
BackAsGroup: set b e 10; remove b; add b.z e; wait 10 = a.x=w a.y=- b.z=e = set b m>e; gone b e>m
Joined: set a e 9; add a.z mwe; wait 9 = a.x=w a.y=- a.z=mwe b=m = set a various>e; putBack a/x e>w; putBack a/y e>-
Refused: set c m 10; set c m; set a/x text 10; set ../x m 10; set ../x m =  = NB_INVALID_ADDRESS; NB_INVALID_ADDRESS; NB_TYPE_MISMATCH; NB_INVALID_ADDRESS; NB_INVALID_ADDRESS
SaveRefused: set a/x mwe 10; save; wait 10; save; restart =  = set a/x w>mwe; NB_INVALID_OPERATION_MODE; putBack a/x mwe>w; saved
SaveForcedKept: set a/x mwe 10; save anyway; wait 10; restart = a.x=mwe a.y=- b=m = set a/x w>mwe; saved; putBack a/x mwe>w
SaveChanged: set b e 10; client b w; save = a.x=w a.y=- b=w = set b m>e; leftAlone b e>w; saved
LoadEnds: set b w; save; set b e 10; load; wait 10 = a.x=w a.y=- b=w = set b m>w; saved; set b w>e; loaded; leftAlone b e>w
LoadPasses: save; add c w; set c e 10; load; wait 10 = a.x=w a.y=- b=m c=w = saved; set c w>e; loaded; putBack c e>w
EndAll: set a/x mwe 99; set a/x e 10; end; save =  = set a/x w>mwe; set a/x mwe>e; putBack a/x e>w; saved
RestartEnds: set b w; save; set . e 10; restart; wait 10 = a.x=w a.y=- b=w = set b m>w; saved; set . various>e
RestartUnsaved: set . e; set b w 10; restart =  = set . various>e; set b e>w)";

std::vector<std::string> split(std::string text, std::string const & separator)
{
    std::vector<std::string> parts;
    for (auto end = text.find(separator); end != std::string::npos; end = text.find(separator)) {
        parts.push_back(text.substr(0, end));
        text.erase(0, end + separator.size());
    }
    parts.push_back(text);
    return parts;
}

class SwitchBoardCase : public SwitchBoardTest, public testing::WithParamInterface<std::string>
{
};
TEST_P(SwitchBoardCase, EndsAsItShould)
{
    std::vector<std::string> const fields = split(GetParam().substr(GetParam().find(": ") + 2), " = ");
    ASSERT_EQ(fields.size(), 3U);
    for (std::string const & step : split(fields[0], "; ")) {
        run(step);
    }
    EXPECT_EQ(host->states(), fields[1].empty() ? "a.x=w a.y=- b=m" : fields[1]);
    EXPECT_EQ(events, split(fields[2], "; "));
}
INSTANTIATE_TEST_SUITE_P(Table, SwitchBoardCase, testing::ValuesIn(split(kTable, "\n")),
                         [](auto const & made) { return made.param.substr(0, made.param.find(':')); });

TEST_F(SwitchBoardTest, TellsWhatItSwitchedAndWhatRuns)
{
    run("set a/x mwe 99");
    auto const outcome = host->board.write(addressOf("a"), valueOf("e"), std::chrono::seconds(10), kAuthor);
    auto const textsOf = [](auto const & units) {
        std::vector<std::string> texts;
        for (auto const & unit : units) {
            texts.push_back(unit.address + " " + flagsText(unit.before) + ">" + flagsText(unit.now));
        }
        return texts;
    };
    EXPECT_THAT(textsOf(outcome.units), ElementsAre(addressOf("a/x mwe>e"), addressOf("a/y ->e")));
    EXPECT_THAT(textsOf(host->board.running()), ElementsAre(addressOf("a/x w>e"), addressOf("a/y ->e")));
    EXPECT_EQ(host->board.running().front().until, outcome.until);
}

TEST_F(SwitchBoardTest, TriesAgainWhatWouldBlockAndGivesUpWhatIsRefused)
{
    OddNode node;
    auto const provider = host->service.makeProvider();
    for (char const * const address : {"trace/machine/units/odd", "elsewhere"}) {
        ASSERT_EQ(provider->registerNode(address, &node), NB_OK);
    }
    for (NbResult const answer : {NB_WOULD_BLOCK, NB_FAILED}) {
        run("set odd mwe 10");
        node.answer = answer;
        run("wait 10");
        run("wait 10");
    }
    EXPECT_THAT(events, ElementsAre("set odd w>mwe", "putBack odd mwe>w", "set odd w>mwe", "failed odd mwe>w"));
    EXPECT_THAT(host->board.running(), IsEmpty());
    EXPECT_EQ(host->set("elsewhere", "m", std::chrono::seconds(1)), NB_UNSUPPORTED);
    EXPECT_EQ(host->set("elsewhere", "m", std::nullopt), NB_OK);
}

/// What each unit should be: all that was done to it since it came, of which the newest that still holds counts.
struct Model
{
    void set(std::string const & name, std::string const & flags, long due)
    {
        for (auto & [unit, history] : units) {
            if (unit == name || name == "." || unit.rfind(name + ".", 0) == 0) {
                history.emplace_back(flags, due);
            }
        }
    }
    std::string states(long now) const
    {
        std::string text;
        for (auto const & [unit, history] : units) {
            auto const newest =
                std::find_if(history.rbegin(), history.rend(), [now](auto & entry) { return entry.second > now; });
            text += (text.empty() ? "" : " ") + unit + "=" + newest->first;
        }
        return text;
    }
    std::map<std::string, std::vector<std::pair<std::string, long>>> units;
};

TEST_F(SwitchBoardTest, EndsFiveHundredOverlappingSwitchesWhereEachUnitWas)
{
    constexpr long kEver = 1'000'000;
    // Given states and switched ones differ, so that each unit that came back can be told from one that stayed.
    std::map<std::string, std::string> const units{{"a.x.1", "m"}, {"a.x.2", "w"}, {"a.y", "m"}, {"b.x", "w"},
                                                   {"b.y.1", "m"}, {"b.y.2", "m"}, {"c", "w"},   {"d.x", "m"}};
    char const * const switched[] = {"-", "e", "mw", "me", "we", "mwe"};
    std::mt19937 random(20240307);
    auto const below = [&random](unsigned limit) { return static_cast<long>(random() % limit); };
    start(units);
    Model fresh;
    for (auto const & [name, flags] : units) {
        fresh.units[name] = {{flags, kEver}};
    }
    Model model = fresh;
    long time = 0;
    std::string script;
    for (int count = 0; count < 500;) {
        auto const & [unit, flags] = *std::next(units.begin(), below(8));
        bool const isThere = model.units.count(unit) != 0;
        long const kind = below(100);
        std::string step = "wait " + std::to_string(kind % 8);
        if (kind == 99) {
            step = "restart";
            model = fresh;
        } else if (kind >= 90 && !isThere) {
            step = "add " + unit + " " + flags;
            model.units[unit] = {{flags, kEver}};
        } else if (kind >= 90 && model.units.size() > 4) {
            step = "remove " + unit;
            model.units.erase(unit);
        } else if (kind < 60 && isThere) {
            std::string name = unit;
            for (long levels = below(3); levels > 0; --levels) {
                name = name.find('.', 1) == std::string::npos ? "." : name.substr(0, name.rfind('.'));
            }
            std::string const wanted = switched[below(6)];
            long const duration = below(60);
            model.set(name, wanted, duration == 0 ? kEver : time + duration);
            std::replace(name.begin() + 1, name.end(), '.', '/');
            step = "set " + name + " " + wanted + (duration == 0 ? "" : " " + std::to_string(duration));
            ++count;
        } else {
            time += kind % 8;
        }
        script += step + "\n";
        run(step);
        ASSERT_EQ(host->states(), model.states(time)) << script;
    }
    run("wait 60");
    EXPECT_EQ(host->states(), model.states(time + 60));
    EXPECT_THAT(host->board.running(), IsEmpty());
    EXPECT_EQ(std::count_if(events.begin(), events.end(), [](auto & event) { return event.rfind("set", 0) == 0; }),
              500);
}

TEST_F(SwitchBoardTest, SwitchesFromManyThreadsWhileTimePassesAndUnitsComeAndGo)
{
    constexpr int kWriters = 3;
    constexpr int kRounds = 150;
    std::atomic<int> writing{kWriters};
    std::vector<std::thread> threads;
    for (int writer = 0; writer < kWriters; ++writer) {
        threads.emplace_back([this, writer, &writing] {
            char const * const addresses[] = {"a/x", "a/y", "b"};
            for (int i = 0; i < kRounds; ++i) {
                EXPECT_EQ(host->set(addressOf(addresses[(i + writer) % 3]), i % 2 == 0 ? "e" : "mwe",
                                    std::chrono::seconds(i % 5)),
                          NB_OK);
            }
            --writing;
        });
    }
    Log passing("c", nullptr);
    while (writing > 0) {
        EXPECT_EQ(host->manager->addTraceUnit(&passing, {}), TRACE_OK);
        (void)host->set(addressOf("c"), "e", std::chrono::seconds(2));
        run("wait 1");
        EXPECT_EQ(host->manager->removeTraceUnit(&passing), TRACE_OK);
    }
    for (std::thread & thread : threads) {
        thread.join();
    }
    run("wait 9");
    EXPECT_EQ(host->states(), "a.x=w a.y=- b=m");
    EXPECT_THAT(host->board.running(), IsEmpty());
}

TEST_F(SwitchBoardTest, PutsBackByItselfWithItsOwnThread)
{
    std::condition_variable isBack;
    bool hasEnded = false;
    SwitchBoard board(host->service, {kUnits, kConfig}, [&](SwitchEvent const & event) {
        std::lock_guard<std::mutex> const lock(mutex);
        hasEnded = hasEnded || event.kind == SwitchEvent::Kind::putBack;
        isBack.notify_one();
    });
    (void)board.write(addressOf("a/x"), valueOf("mwe"), std::chrono::hours(1),
                      kAuthor); // the thread waits for this one
    (void)board.write(addressOf("b"), valueOf("mwe"), std::chrono::seconds(1), kAuthor);
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_TRUE(isBack.wait_for(lock, std::chrono::seconds(60), [&] { return hasEnded; }));
    EXPECT_EQ(host->states(), "a.x=mwe a.y=- b=m");
}

TEST(SwitchEventText, SaysWhoSwitchedWhatFromWhereForHowLong)
{
    std::chrono::system_clock::time_point const until{std::chrono::seconds(1709806530)};
    SwitchEvent event{SwitchEvent::Kind::set, "t/axis", "w", "mwe", until, {0, "root", "the door"}};
    EXPECT_EQ(textOf(event), "t/axis switched from w to mwe until 2024-03-07T10:15:30Z by root (user 0) from the door");
    event = {SwitchEvent::Kind::set, "t/axis", "w", "mwe", std::nullopt, {7, "", "the door"}};
    EXPECT_EQ(textOf(event), "t/axis switched from w to mwe for ever by user 7 from the door");
    using Kind = SwitchEvent::Kind;
    std::pair<Kind, char const *> const ends[] = {
        {Kind::putBack, "t/axis put back from w to mwe, since the switch by user 7 from the door ended"},
        {Kind::leftAlone,
         "t/axis left as mwe, since somebody else had changed it from w when the switch by user 7 from "
         "the door ended"},
        {Kind::gone,
         "t/axis is gone, and was not put back from w to mwe when the switch by user 7 from the door ended"},
        {Kind::failed, "t/axis cannot be put back from w to mwe, though the switch by user 7 from the door ended"},
        {Kind::saved, "States saved by user 7 from the door"},
        {Kind::loaded, "States loaded by user 7 from the door"}};
    for (auto const & [kind, text] : ends) {
        event.kind = kind;
        EXPECT_EQ(textOf(event), text);
    }
}

} // namespace

} // namespace common::log::test
