#include "store_support.h"

#include <atomic>
#include <csignal>
#include <cstring>
#include <optional>
#include <random>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace common::log::host::test {

namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;
using Answer = WatchedOperations::Answer;

std::vector<std::string> const kOld(30, "axis m");
std::vector<std::string> const kNew(40, "io.bus we");

enum class Operation
{
    save,
    load,
    remove
};

/// A disk that loses what was not flushed, made of the calls of the system: what is there, and what of it is sure.
struct Disk
{
    struct File
    {
        std::string content;
        std::string sure;
    };
    using Names = std::map<std::string, std::shared_ptr<File>>;

    void apply(WatchedOperations::Noted const & call)
    {
        if (call.kind == Kind::create || call.kind == Kind::makeFolder) {
            names[call.path] = std::make_shared<File>();
        } else if (call.kind == Kind::write) {
            names[call.path]->content += call.target;
        } else if (call.kind == Kind::rename) {
            names[call.target] = names[call.path];
            names.erase(call.path);
        }
        for (auto const & [name, file] : names) {
            if (call.kind == Kind::flush && name == call.path) {
                file->sure = file->content;
            } else if (call.kind == Kind::flush && std::filesystem::path(name).parent_path() == call.path) {
                sureNames[name] = file;
            }
        }
    }
    /// What a machine that stops now would find, with or without what is not sure.
    std::string contentAfterCrash(bool keepsNames, bool keepsContent)
    {
        Names const & left = keepsNames ? names : sureNames;
        auto const file = left.find(std::string("./") + kFileName);
        if (file == left.end() || left.count("./trace") == 0) {
            return "nothing";
        }
        return keepsContent ? file->second->content : file->second->sure;
    }

    Names names;
    Names sureNames; ///< of what is gone some may stay, which no case asks for
};

} // namespace

class FileStoreFault : public testing::TestWithParam<Operation>
{
};

// Each operation again and again, while its first, its second, … call of the system fails; until no call is left.
TEST_P(FileStoreFault, LeavesTheOldFileOrTheNew)
{
    for (Answer const & answer : {Answer{ENOSPC}, {EIO}, {EACCES}, {EINTR}, {0, true}}) {
        std::optional<WatchedOperations::Noted> failed;
        for (int failing = 0; failing == 0 || failed; ++failing) {
            int left = failing;
            failed.reset();
            WatchedStore store([&](auto const & call) {
                bool const fails = left-- == 0;
                failed = fails ? call : failed;
                return fails ? answer : Answer();
            });
            Client & client = store.client;
            Client after(store.path);
            ASSERT_EQ(after.save(dataOf(kOld)), 0);
            std::vector<std::string> units;
            bool const isDone = (GetParam() == Operation::save   ? client.save(dataOf(kNew))
                                 : GetParam() == Operation::load ? client.load(units)
                                                                 : client.remove()) == 0;
            SCOPED_TRACE(std::to_string(answer.error) + " in call " + std::to_string(failing));
            ASSERT_TRUE(failed || (isDone && failing > 5));
            EXPECT_TRUE(isDone || (answer.error != EINTR && !answer.isShort));
            PersistenceDetailDiag const diag = client.diag();
            if (!isDone) {
                EXPECT_EQ(diag.diagCode, static_cast<std::uint32_t>(StoreFault::system));
                EXPECT_EQ(diag.diagThird, answer.error);
                EXPECT_THAT(diag.diagText, HasSubstr(std::strerror(answer.error)));
            }
            // The names are brought to the disk last: what was done can be seen, but is not sure.
            bool const isVisible = isDone || (diag.diagText.find("it may be lost") != std::string::npos);
            if (GetParam() == Operation::remove && isVisible) {
                EXPECT_FALSE(after.exists());
                continue;
            }
            EXPECT_EQ(after.loaded(), GetParam() == Operation::save && isVisible ? kNew : kOld);
            EXPECT_TRUE(GetParam() != Operation::load || units == (isDone ? kOld : std::vector<std::string>()));
            EXPECT_THAT(namesIn(store.path), ElementsAre("trace", kFileName));
        }
    }
}
INSTANTIATE_TEST_SUITE_P(Of, FileStoreFault, testing::Values(Operation::save, Operation::load, Operation::remove));

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

TEST(FileStoreCrash, OfTheMachineLeavesTheOldFileOrTheNew)
{
    WatchedStore store;
    Disk disk;
    std::string old = "nothing";
    for (auto const & units : {kOld, kNew}) {
        store.calls.clear();
        ASSERT_EQ(store.client.save(dataOf(units)), 0);
        std::string const saved = contentOf(store.path + kFileName);
        for (std::size_t made = 0; made <= store.calls.size(); ++made) {
            for (int const keeps : {0, 1, 2, 3}) {
                std::string const left = disk.contentAfterCrash((keeps & 1) != 0, (keeps & 2) != 0);
                EXPECT_TRUE(left == old || left == saved) << made << ", keeping " << keeps << ": " << left;
                EXPECT_TRUE(made < store.calls.size() || left == saved) << "not durable, keeping " << keeps;
            }
            if (made < store.calls.size()) {
                disk.apply(store.calls[made]);
            }
        }
        old = saved;
    }
}

// Two of them at once, while a third one reads.
TEST(FileStoreKill, OfSavingProcessesLeavesAWholeFile)
{
    TemporaryFolder const folder;
    Client client(folder.pathOf(""));
    ASSERT_EQ(client.save(dataOf(kOld)), 0);
    std::mt19937 random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same run each time
    int leftTemporary = 0;
    for (int round = 0; round < 500; ++round) {
        pid_t children[2];
        for (pid_t & child : children) {
            child = ::fork();
            while (child == 0) {
                if (Client(folder.pathOf("")).save(dataOf(&child == children ? kOld : kNew)) != 0) {
                    ::_exit(1);
                }
            }
        }
        auto const end = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 2000);
        do {
            ASSERT_THAT(client.loaded(), AnyOf(kOld, kNew));
        } while (std::chrono::steady_clock::now() < end);
        for (pid_t const child : children) {
            int status = 0;
            (void)::kill(child, SIGKILL);
            (void)::waitpid(child, &status, 0);
            ASSERT_TRUE(WIFSIGNALED(status)) << "a save failed";
        }
        ASSERT_THAT(client.loaded(), AnyOf(kOld, kNew)) << "round " << round;
        leftTemporary += namesIn(folder.pathOf("")).size() > 2 ? 1 : 0;
    }
    EXPECT_GT(leftTemporary, 0) << "nobody was killed in the midst of a save";
    ASSERT_EQ(client.save(dataOf(kNew)), 0);
    EXPECT_THAT(namesIn(folder.pathOf("")), ElementsAre("trace", kFileName));
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
