#include "store_support.h"
#include "support/rounds.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <optional>
#include <random>
#include <set>

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace common::log::host::test {

namespace {

using common::log::test::printSeen;
using common::log::test::roundsOf;
using common::log::trace::TRACE_OK;
using Noted = WatchedOperations::Noted;
using Random = std::mt19937;

/// A disk, made of the calls of the system, that brings out by itself what it likes of what was not flushed.
class Disk
{
public:
    void apply(Noted const & call)
    {
        if (call.kind == Kind::create || call.kind == Kind::makeFolder) {
            change({call.path, std::make_shared<Node>(Node{call.kind == Kind::makeFolder}), ""});
        } else if (call.kind == Kind::write) {
            m_names[call.path]->pending.push_back(call.target);
        } else if (call.kind == Kind::rename) {
            change({call.target, m_names[call.path], call.path});
        } else if (call.kind == Kind::remove) {
            change({call.path, nullptr, call.path});
        } else if (call.kind == Kind::flush) {
            flush(call.path);
        }
    }
    /// What a machine that stops now may find, by one of many chances.
    void writeWhatIsLeft(Random & random, std::string const & folder) const
    {
        Names names = m_sureNames;
        std::vector<Change> changes = m_changes; // of which some got through, in some order
        std::shuffle(changes.begin(), changes.end(), random);
        changes.resize(random() % (changes.size() + 1));
        for (Change & change : changes) {
            change.gone = random() % 4 == 0 && change.node != nullptr ? "" : change.gone;
            make(change, names);
        }
        for (auto const & [path, node] : names) { // a folder stands ahead of what is in it
            if (node->isFolder) {
                std::filesystem::create_directory(folder + path);
            } else if (std::filesystem::exists(std::filesystem::path(folder + path).parent_path())) {
                std::ofstream(folder + path, std::ios::binary) << contentOf(*node, random);
            }
        }
    }

private:
    struct Node
    {
        bool isFolder;
        std::string sure{};
        std::vector<std::string> pending{}; ///< written behind it, and not flushed
    };
    using Names = std::map<std::string, std::shared_ptr<Node>>;
    struct Change
    {
        std::string name;
        std::shared_ptr<Node> node; ///< what has that name then; none where it goes
        std::string gone;
    };

    static void make(Change const & change, Names & names)
    {
        names.erase(change.gone);
        if (change.node != nullptr) {
            names[change.name] = change.node;
        }
    }
    void change(Change const & change)
    {
        make(change, m_names);
        m_changes.push_back(change);
    }
    void flush(std::string const & path)
    {
        auto const named = m_names.find(path);
        if (named != m_names.end() && !named->second->isFolder) {
            for (std::string const & text : std::exchange(named->second->pending, {})) {
                named->second->sure += text;
            }
        }
        for (Change const & change : std::exchange(m_changes, {})) {
            bool const isIn = std::filesystem::path(change.name).parent_path() == path;
            isIn ? make(change, m_sureNames) : m_changes.push_back(change);
        }
    }
    /// Of what is not sure each piece may be there, be a hole, or be torn, which ends the file.
    static std::string contentOf(Node const & node, Random & random)
    {
        std::string content = node.sure;
        for (std::string const & text : node.pending) {
            auto const chance = random() % 4;
            content += chance == 0 ? std::string(text.size(), '\0') : text;
            if (chance == 1) {
                content.resize(content.size() - random() % text.size());
                break;
            }
        }
        return content;
    }

    Names m_names;
    Names m_sureNames;
    std::vector<Change> m_changes; ///< of names, and not flushed
};

/// Some saves and removals, by their calls, and what is saved behind each.
struct History
{
    explicit History(Random & random)
    {
        WatchedStore store([&](auto const & call) {
            return WatchedOperations::Answer{0, call.kind == Kind::write ? 1 + random() % 2000 : SIZE_MAX};
        });
        for (int step = 1; step < 6; ++step) {
            std::vector<std::string> units(1 + random() % 40, "axis" + std::to_string(step) + " mw");
            bool const isRemoved = random() % 4 == 0 && !states.back().empty();
            EXPECT_EQ(isRemoved ? store.client.remove() : store.client.save(dataOf(units)), 0);
            states.push_back(isRemoved ? std::vector<std::string>() : units);
            ends.push_back(store.calls.size());
        }
        calls = store.calls;
    }

    std::vector<std::vector<std::string>> states{{}}; ///< nothing first
    std::vector<std::size_t> ends{0};                 ///< each behind so many calls
    std::vector<Noted> calls;
};

struct Outcomes
{
    std::uint64_t old = 0;
    std::uint64_t made = 0;
    std::uint64_t others = 0;
};

/// @param isFlushed  whether the disk does what it is asked to by a flush
Outcomes crash(Random & random, std::uint64_t count, bool isFlushed)
{
    Outcomes outcomes;
    std::optional<History> history;
    for (std::uint64_t state = 0; state < count; ++state) {
        if (state % 50 == 0) {
            history.emplace(random);
        }
        auto const & [states, ends, calls] = *history;
        std::size_t const made = random() % (calls.size() + 1);
        Disk disk;
        for (std::size_t call = 0; call < made; ++call) {
            if (isFlushed || calls[call].kind != Kind::flush) {
                disk.apply(calls[call]);
            }
        }
        auto const next = static_cast<std::size_t>(std::lower_bound(ends.begin(), ends.end(), made) - ends.begin());
        bool const isWithin = ends[next] != made;
        TemporaryFolder const folder;
        disk.writeWhatIsLeft(random, folder.pathOf(""));
        Client const client(folder.pathOf(""));
        auto const found = client.exists() ? client.loaded() : std::vector<std::string>();
        bool const isOld = found == states[isWithin ? next - 1 : next];
        bool const isNew = isWithin && found == states[next];
        ++(isOld ? outcomes.old : isNew ? outcomes.made : outcomes.others);
        EXPECT_TRUE(isOld || isNew || !isFlushed) << "state " << state << ": " << testing::PrintToString(found);
        EXPECT_TRUE(client.save(dataOf({"axis e"})) == 0 && client.loaded() == std::vector<std::string>{"axis e"});
    }
    return outcomes;
}

/// What a process says by shared memory of the numbers that it saves.
struct Told
{
    std::atomic<std::uint64_t> tried;
    std::atomic<std::uint64_t> acknowledged;
};

/// Saves one number after the other, until it is killed: at the latest by itself, ahead of a call of the system.
[[noreturn]] void saveUntilKilled(std::string const & path, std::uint64_t number, unsigned callsLeft, Told & told)
{
    std::vector<Noted> calls;
    NumberedHost const host(path, std::make_unique<WatchedOperations>(calls, [&](auto const &) {
                                (void)(callsLeft-- == 0 ? ::kill(::getpid(), SIGKILL) : 0);
                                return WatchedOperations::Answer();
                            }));
    for (told.tried = number; host.save(number) == TRACE_OK; told.tried = number) {
        told.acknowledged = number;
        number += 2;
    }
    ::_exit(1);
}

} // namespace

TEST(FileStoreCrash, OfTheMachineLeavesTheOldStateOrTheNew)
{
    std::uint64_t const wanted = roundsOf("COMMON_LOG_CRASH_STATES", 500);
    Random random(20240307); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same run each time
    Outcomes const seen = crash(random, wanted, true);
    EXPECT_EQ(seen.others, 0U);
    EXPECT_GT(std::min(seen.old, seen.made), wanted / 10);
    printSeen(std::to_string(wanted) + " crash states, " + std::to_string(seen.old) + " old, " +
              std::to_string(seen.made) + " new, " + std::to_string(seen.others) + " others");
    EXPECT_GT(crash(random, 100, false).others, 10U) << "the disk loses nothing";
}

// One or two of them at once, while a third process reads.
TEST(FileStoreKill, OfSavingProcessesLosesNoStateThatWasSaved)
{
    TemporaryFolder const folder;
    std::string const path = folder.pathOf("");
    void * const shared = ::mmap(nullptr, sizeof(Told[2]), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto & told = *static_cast<Told(*)[2]>(shared);
    NumberedHost const reader(path);
    std::uint64_t last = 1;
    ASSERT_EQ(reader.save(last), TRACE_OK);
    Random random(1); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same run each time
    std::uint64_t const wanted = roundsOf("COMMON_LOG_STORE_KILLS", 50);
    std::uint64_t kills = 0;
    std::uint64_t lost = 0;
    std::uint64_t torn = 0;
    std::uint64_t inTheMidst = 0;
    std::uint64_t next = 2;
    for (int round = 0; kills < wanted; ++round) {
        std::vector<pid_t> children;
        for (std::uint64_t saver = 0, savers = 1 + random() % 2; saver < savers; ++saver) {
            told[saver].tried = told[saver].acknowledged = 0;
            auto const calls = static_cast<unsigned>(random() % 100);
            children.push_back(::fork());
            if (children.back() == 0) {
                saveUntilKilled(path, next + saver, calls, told[saver]);
            }
        }
        std::chrono::microseconds const span(random() % 4000); // from its first save on
        auto end = std::chrono::steady_clock::now() + span;
        do {
            torn += reader.load() == TRACE_OK ? 0U : 1U;
            end = told[0].tried == 0 ? std::chrono::steady_clock::now() + span : end;
        } while (std::chrono::steady_clock::now() < end);
        for (pid_t const child : children) {
            int status = 0;
            (void)::kill(child, SIGKILL);
            ASSERT_TRUE(::waitpid(child, &status, 0) == child && WIFSIGNALED(status)) << "a save failed";
            ++kills;
        }
        inTheMidst += namesIn(path).size() > 2 ? 1U : 0U;
        std::set<std::uint64_t> allowed;
        bool isSaved = false;
        for (std::size_t saver = 0; saver < children.size(); ++saver) {
            allowed.insert({told[saver].tried, told[saver].acknowledged});
            isSaved = isSaved || told[saver].acknowledged != 0;
            next = std::max(next, told[saver].tried + 1);
        }
        allowed.insert(isSaved ? 0 : last);
        NumberedHost const after(path);
        bool const isWhole = after.load() == TRACE_OK;
        last = after.number();
        torn += isWhole ? 0U : 1U;
        lost += isWhole && allowed.count(last) == 0 ? 1U : 0U;
        EXPECT_TRUE(isWhole && allowed.count(last) != 0) << "round " << round << ": " << last;
    }
    EXPECT_EQ(torn, 0U);
    EXPECT_GT(inTheMidst, 0U) << "nobody was killed in the midst of a save";
    EXPECT_TRUE(reader.save(1) == TRACE_OK && namesIn(path).size() == 2U) << "something beside the file";
    (void)::munmap(shared, sizeof(Told[2]));
    printSeen(std::to_string(kills) + " kills, " + std::to_string(inTheMidst) + " in the midst of a save, " +
              std::to_string(lost) + " states lost, " + std::to_string(torn) + " torn");
}

TEST(FileStoreName, OfAPipeIsRefusedAndHoldsNobodyUp)
{
    TemporaryFolder folder;
    ASSERT_EQ(::mkfifo(folder.pathOf("pipe.json").c_str(), 0600), 0);
    Client client(folder.pathOf(""));
    std::vector<std::string> units;
    for (char const * const name : {"pipe.json", "pipe.json/x"}) {
        EXPECT_EQ(client.save(dataOf({"axis m"}), name), failure(StoreFault::name));
        EXPECT_EQ(client.load(units, name), failure(StoreFault::name));
    }
}

} // namespace common::log::host::test
