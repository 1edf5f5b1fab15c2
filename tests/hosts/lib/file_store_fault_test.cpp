#include "store_support.h"
#include "support/rounds.h"

#include <atomic>
#include <cstring>
#include <map>
#include <optional>
#include <thread>

namespace common::log::host::test {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using namespace common::log::trace;
using Answer = WatchedOperations::Answer;

std::vector<std::string> const kOld(30, "axis m");
std::vector<std::string> const kNew(40, "io.bus we");

enum class Operation
{
    save,
    load,
    remove
};

} // namespace

// Each operation again and again, while its first, its second, … call of the system fails; until no call is left.
TEST(FileStoreFault, LeavesTheOldStateOrTheNewAndIsReportedOnce)
{
    std::map<int, unsigned> failures;
    for (Operation const operation : {Operation::save, Operation::load, Operation::remove}) {
        for (Answer const & answer : {Answer{ENOSPC}, {EIO}, {EACCES}, {EROFS}, {EMFILE}, {EINTR}, {0, 1}}) {
            std::optional<WatchedOperations::Noted> failed;
            for (int failing = 0; failing == 0 || failed; ++failing) {
                int left = -1;
                failed.reset();
                TemporaryFolder const folder;
                std::string const path = folder.pathOf("");
                std::vector<WatchedOperations::Noted> calls;
                NumberedHost host(path, std::make_unique<WatchedOperations>(calls, [&](auto const & call) {
                                      bool const fails = left-- == 0;
                                      failed = fails ? call : failed;
                                      return fails ? answer : Answer();
                                  }));
                ASSERT_EQ(host.save(1), TRACE_OK);
                auto const run = [&] {
                    return operation == Operation::save   ? host.save(2)
                           : operation == Operation::load ? host.load()
                                                          : host.remove();
                };
                left = failing;
                TraceResult const result = run();
                left = -1;
                SCOPED_TRACE(std::to_string(answer.error) + " in call " + std::to_string(failing) + " of operation " +
                             std::to_string(static_cast<int>(operation)));
                ASSERT_TRUE(failed || (result == TRACE_OK && failing > 5));
                bool const isShortened = failed && (failed->kind == Kind::read || failed->kind == Kind::write);
                failures[answer.error] += isShortened || (failed && answer.error != 0) ? 1U : 0U;
                EXPECT_TRUE(result == TRACE_OK ||
                            (result == TRACE_FAILED && answer.error != 0 && answer.error != EINTR));
                EXPECT_EQ(host.reports.take(), result == TRACE_OK ? 0U : 1U);
                PersistenceDetailDiag diag;
                if (result != TRACE_OK) {
                    (void)host.store.helper()->getDetailDiag(&host.store, diag);
                    EXPECT_EQ(diag.diagCode, static_cast<std::uint32_t>(StoreFault::system));
                    EXPECT_EQ(diag.diagThird, answer.error);
                    EXPECT_THAT(diag.diagText, HasSubstr(std::strerror(answer.error)));
                }
                // The names are brought to the disk last: what was done can be seen, but is not sure.
                bool const isVisible = result == TRACE_OK || diag.diagText.find("it may be lost") != std::string::npos;
                bool const isGone = operation == Operation::remove && isVisible;
                NumberedHost const after(path);
                EXPECT_EQ(after.load(), isGone ? TRACE_NO_SAVED_DATA : TRACE_OK);
                EXPECT_EQ(after.number(), isGone ? 0U : operation == Operation::save && isVisible ? 2U : 1U);
                EXPECT_EQ(namesIn(path).size(), isGone ? 1U : 2U) << "nothing beside the file";
                // The fault is over.
                EXPECT_EQ(run(), isGone ? TRACE_NO_SAVED_DATA : TRACE_OK);
                EXPECT_EQ(host.save(3), TRACE_OK);
                EXPECT_TRUE(after.load() == TRACE_OK && after.number() == 3);
            }
        }
    }
    std::string seen;
    for (auto const & [error, count] : failures) {
        seen += ", " + (error != 0 ? std::string(::strerrorname_np(error)) : "short") + " " + std::to_string(count);
    }
    common::log::test::printSeen("store calls that failed" + seen);
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
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&, number] {
            Client & client = number % 2 == 0 ? first : second;
            std::vector<std::string> units;
            for (int turn = 0; turn < 100; ++turn) {
                bool const isSaved = number >= 4 || client.save(dataOf(number < 2 ? kOld : kNew)) == 0;
                bool const isWhole = client.load(units) == 0 && (units == kOld || units == kNew);
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
