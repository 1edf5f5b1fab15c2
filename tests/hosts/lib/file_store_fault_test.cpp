#include "store_support.h"
#include "support/rounds.h"

#include <atomic>
#include <cstring>
#include <thread>

namespace common::log::host::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using namespace common::log::trace;
using Answer = WatchedOperations::Answer;

std::vector<std::string> const kOld(30, "axis m");
std::vector<std::string> const kNew(40, "io.bus we");

} // namespace

// Each operation again and again, while its first, its second, … call of the system fails; until no call is left.
TEST(FileStoreFault, LeavesTheOldStateOrTheNewAndIsReportedOnce)
{
    using Action = TraceResult (*)(NumberedHost const & host);
    Action const save = [](NumberedHost const & host) { return host.save(2); };
    Action const load = [](NumberedHost const & host) { return host.load(); };
    Action const remove = [](NumberedHost const & host) { return host.remove(); };
    int failures = 0;
    for (Action const run : {save, load, remove}) {
        for (Answer const & answer : {Answer{ENOSPC}, {EIO}, {EACCES}, {EROFS}, {EMFILE}, {EINTR}, {0, 1}}) {
            bool hasFailed = true;
            for (int failing = 0; hasFailed; ++failing) {
                SCOPED_TRACE(std::to_string(answer.error) + " in call " + std::to_string(failing));
                TemporaryFolder const folder;
                std::string const path = folder.pathOf("");
                std::vector<WatchedOperations::Noted> calls;
                int left = -1;
                NumberedHost host(path, std::make_unique<WatchedOperations>(
                                            calls, [&](auto const &) { return left-- == 0 ? answer : Answer(); }));
                ASSERT_EQ(host.save(1), TRACE_OK);
                left = failing;
                TraceResult const result = run(host);
                hasFailed = std::exchange(left, -1) < 0;
                failures += hasFailed ? 1 : 0;
                EXPECT_EQ(host.reports.take(), result == TRACE_OK ? 0U : 1U);
                PersistenceDetailDiag diag;
                if (result != TRACE_OK) {
                    ASSERT_TRUE(hasFailed && result == TRACE_FAILED && answer.error != EINTR && answer.error != 0);
                    (void)host.store.helper()->getDetailDiag(&host.store, diag);
                    EXPECT_EQ(diag.diagCode, static_cast<std::uint32_t>(StoreFault::system));
                    EXPECT_EQ(diag.diagThird, answer.error);
                    EXPECT_THAT(diag.diagText, HasSubstr(std::strerror(answer.error)));
                }
                // The names are brought to the disk last: what was done can be seen, but is not sure.
                bool const isVisible = result == TRACE_OK || diag.diagText.find("it may be lost") != std::string::npos;
                bool const isGone = run == remove && isVisible;
                NumberedHost const after(path);
                EXPECT_EQ(after.load(), isGone ? TRACE_NO_SAVED_DATA : TRACE_OK);
                EXPECT_EQ(after.number(), isGone ? 0U : run == save && isVisible ? 2U : 1U);
                EXPECT_EQ(namesIn(path).size(), isGone ? 1U : 2U) << "nothing beside the file";
                EXPECT_EQ(run(host), isGone ? TRACE_NO_SAVED_DATA : TRACE_OK) << "the fault is over";
                EXPECT_TRUE(host.save(3) == TRACE_OK && after.load() == TRACE_OK && after.number() == 3);
            }
        }
    }
    EXPECT_GT(failures, 7 * 30);
    common::log::test::printSeen(std::to_string(failures) + " calls of save, load and delete that failed");
}

TEST(FileStoreDamage, IsReportedByTheFirstRegistrationAfterARestart)
{
    TemporaryFolder const folder;
    std::string const path = folder.pathOf("");
    ASSERT_EQ(NumberedHost(path).save(7), TRACE_OK);
    NumberedHost restarted(path);
    Log & unit = *restarted.units.back();
    for (bool const isDamaged : {false, true}) {
        isDamaged ? write(path + namesIn(path).back(), "damaged") : void();
        for (unsigned const reports : {isDamaged ? 2U : 0U, 0U}) { // of the load and of the registration
            ASSERT_EQ(restarted.manager->removeTraceUnit(&unit), TRACE_OK);
            ASSERT_EQ(restarted.manager->addTraceUnit(&unit, {false, true, false}), TRACE_OK);
            EXPECT_EQ(restarted.reports.take(), reports);
            EXPECT_EQ(restarted.number(), isDamaged ? 2U : 7U);
            EXPECT_TRUE(unit.getDefaultEnablingState().warnings && !unit.getDefaultEnablingState().errors);
        }
    }
}

TEST(FileStoreDamage, ThatCannotBeRenamedStillCountsAsNothingSaved)
{
    WatchedStore store(
        [](auto const & call) { return Answer{call.target.find(".bad") != std::string::npos ? EROFS : 0}; });
    write(store.path + kFileName, "damaged");
    EXPECT_TRUE(store.client.exists());
    EXPECT_THAT(store.client.loaded(), ElementsAre(HasSubstr("cannot be set aside (")));
    EXPECT_FALSE(store.client.exists());
    ASSERT_EQ(store.client.save(dataOf(kNew)), 0);
    EXPECT_TRUE(store.client.exists());
    EXPECT_EQ(store.client.loaded(), kNew);
}

TEST(FileStoreDamage, IsNotSetAsideOnceTheFileIsAnother)
{
    std::string path;
    WatchedStore store([&](auto const & call) {
        EXPECT_TRUE(call.kind != Kind::tryLock || Client(path).save(dataOf(kNew)) == 0); // somebody else had it before
        return Answer();
    });
    path = store.path;
    write(path + kFileName, "damaged");
    EXPECT_THAT(store.client.loaded(), ElementsAre(HasSubstr("has changed meanwhile")));
    EXPECT_EQ(store.client.loaded(), kNew);
}

TEST(FileStoreDirectory, ThatVanishedIsDiagnosed)
{
    TemporaryFolder const folder;
    Client client(folder.pathOf("gone"));
    EXPECT_EQ(client.save(dataOf(kNew)), failure(StoreFault::system));
    EXPECT_EQ(client.diag().diagThird, ENOENT);
    EXPECT_FALSE(client.exists());
    std::vector<std::string> units;
    EXPECT_EQ(client.load(units), failure(StoreFault::notSaved));
    EXPECT_EQ(client.remove(), failure(StoreFault::notSaved));
    EXPECT_THAT(client.diag().diagText, HasSubstr(folder.pathOf("gone")));
}

TEST(FileStoreThreads, SaveAndLoadAtOnce)
{
    TemporaryFolder const folder;
    Client first(folder.pathOf(""));
    Client second(folder.pathOf(""));
    ASSERT_EQ(first.save(dataOf(kOld)), 0);
    std::atomic<int> failures{0};
    // On a slow machine others can have the folder for longer than a store waits for it.
    auto const isDone = [](auto const & call) {
        int result = 0;
        do {
            result = call();
        } while (result == failure(StoreFault::busy));
        return result == 0;
    };
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&, number] {
            Client & client = number % 2 == 0 ? first : second;
            std::vector<std::string> units;
            for (int turn = 0; turn < 100; ++turn) {
                bool const isSaved =
                    number >= 4 || isDone([&] { return client.save(dataOf(number < 2 ? kOld : kNew)); });
                bool const isWhole = isDone([&] { return client.load(units); }) && (units == kOld || units == kNew);
                bool const isDiagnosed = client.load(units, "..") < 0 && client.diag().diagCode == 1;
                failures += isSaved && isWhole && isDiagnosed ? 0 : 1;
            }
        });
    }
    for (std::thread & thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
}

TEST(FileStoreCache, ParsesAgainOnlyWhatChanged)
{
    WatchedStore store;
    Client & client = store.client;
    std::string const path = store.path + kFileName;
    auto & calls = store.calls;
    auto const readsInLoad = [&](std::vector<std::string> const & units) {
        calls.clear();
        EXPECT_EQ(client.loaded(), units);
        return std::count_if(calls.begin(), calls.end(), [](auto const & call) { return call.kind == Kind::read; });
    };
    ASSERT_EQ(client.save(dataOf({"axis m"})), 0);
    std::string content = contentOf(path);
    for (char unit = 'a'; unit <= 'z'; ++unit) { // in place, of the same size, at once
        write(path, content.replace(content.find("xis") - 1, 1, 1, unit));
        EXPECT_GT(readsInLoad({unit + std::string("xis m")}), 0);
    }
    while (readsInLoad({"zxis m"}) != 0) { // until the file is old enough
    }
    EXPECT_EQ(readsInLoad({"zxis m"}), 0);
    write(path, content.replace(content.find("xis") - 1, 1, 1, 'a')); // and once more, now that it is
    EXPECT_GT(readsInLoad({"axis m"}), 0);
    ASSERT_EQ(client.save(dataOf({"axis e"})), 0);
    EXPECT_GT(readsInLoad({"axis e"}), 0);
}

} // namespace common::log::host::test
