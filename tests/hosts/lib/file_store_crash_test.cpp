#include "store_support.h"

#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <random>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace common::log::host::test {

namespace {

using testing::AnyOf;

std::vector<std::string> const kOld(30, "axis m");
std::vector<std::string> const kNew(40, "io.bus we");

/// A disk that loses what was not flushed, made of the calls of the system: what is there, and what of it is sure.
class Disk
{
public:
    struct File
    {
        std::string content;
        std::string sure;
    };

    void apply(Call const & call)
    {
        if (call.name == "create") {
            m_names[call.path] = std::make_shared<File>();
        } else if (call.name == "makeFolder") {
            m_names[call.path] = nullptr;
        } else if (call.name == "write") {
            m_names[call.path]->content += call.target;
        } else if (call.name == "rename") {
            m_names[call.target] = m_names[call.path];
            m_names.erase(call.path);
        } else if (call.name == "flush" && m_names.count(call.path) != 0 && m_names[call.path] != nullptr) {
            m_names[call.path]->sure = m_names[call.path]->content;
        } else if (call.name == "flush") {
            auto const lies = [&](auto const & name) { return std::filesystem::path(name).parent_path() == call.path; };
            for (auto name = m_sureNames.begin(); name != m_sureNames.end();) {
                name = lies(name->first) ? m_sureNames.erase(name) : std::next(name);
            }
            std::copy_if(m_names.begin(), m_names.end(), std::inserter(m_sureNames, m_sureNames.end()),
                         [&](auto const & name) { return lies(name.first); });
        }
    }

    /// What a machine that stops now would find, with or without what is not sure.
    std::string contentAfterCrash(bool keepsNames, bool keepsContent) const
    {
        auto const & names = keepsNames ? m_names : m_sureNames;
        auto const file = names.find(std::string("./") + kFileName);
        if (file == names.end() || names.count("./trace") == 0) {
            return "nothing";
        }
        return keepsContent ? file->second->content : file->second->sure;
    }

private:
    using Names = std::map<std::string, std::shared_ptr<File>>; // a folder without a file
    Names m_names;
    Names m_sureNames;
};

/// Runs in a child, which is to be killed.
template <typename Body>
pid_t inChild(Body const & body)
{
    pid_t const child = ::fork();
    if (child == 0) {
        body();
        ::_exit(1);
    }
    return child;
}

} // namespace

TEST(FileStoreCrash, OfTheMachineLeavesTheOldFileOrTheNew)
{
    TemporaryFolder const folder;
    std::string const path = folder.pathOf(kFileName);
    std::vector<Call> calls;
    Client client(folder.pathOf(""), std::make_unique<WatchedOperations>(calls, nullptr));
    Disk disk;
    std::string old = "nothing";
    for (auto const & units : {kOld, kNew}) {
        calls.clear();
        ASSERT_EQ(client.save(dataOf(units)), 0);
        std::string const saved = contentOf(path);
        for (std::size_t made = 0; made <= calls.size(); ++made) {
            for (int const keeps : {0, 1, 2, 3}) {
                std::string const left = disk.contentAfterCrash((keeps & 1) != 0, (keeps & 2) != 0);
                EXPECT_TRUE(left == old || left == saved) << made << ", keeping " << keeps << ": " << left;
                EXPECT_TRUE(made < calls.size() || left == saved) << "not durable, keeping " << keeps;
            }
            if (made < calls.size()) {
                disk.apply(calls[made]);
            }
        }
        old = saved;
    }
}

TEST(FileStoreCrash, OfSavingProcessesLeavesAWholeFile)
{
    TemporaryFolder const folder;
    Client client(folder.pathOf(""));
    ASSERT_EQ(client.save(dataOf(kOld)), 0);
    std::mt19937 random(4711);
    int leftTemporary = 0;
    for (int round = 0; round < 500; ++round) {
        pid_t children[2];
        for (pid_t & child : children) {
            child = inChild([&] {
                auto const & units = &child == children ? kOld : kNew;
                Client own(folder.pathOf(""));
                while (own.save(dataOf(units)) == 0) {
                }
            });
        }
        auto const end = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 2000);
        while (std::chrono::steady_clock::now() < end) { // meanwhile as well
            ASSERT_THAT(client.loaded(), AnyOf(kOld, kNew));
        }
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
    EXPECT_THAT(namesIn(folder.pathOf("")), testing::ElementsAre("trace", kFileName));
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
    TemporaryFolder const folder;
    std::string const path = folder.pathOf(kFileName);
    std::vector<Call> calls;
    Client client(folder.pathOf(""), std::make_unique<WatchedOperations>(calls, nullptr));
    auto const readsInLoad = [&](std::vector<std::string> const & units) {
        calls.clear();
        EXPECT_EQ(client.loaded(), units);
        return std::count_if(calls.begin(), calls.end(), [](Call const & call) { return call.name == "read"; });
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
    ASSERT_EQ(client.save(dataOf({"axis e"})), 0);
    EXPECT_GT(readsInLoad({"axis e"}), 0);
}

} // namespace common::log::host::test
