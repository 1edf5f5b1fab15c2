#include "ring_support.h"

#include "support/process_state.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <random>
#include <thread>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace common::log::host::test {

namespace {

using common::log::test::waitUntil;
using tracehost::test::TemporaryFolder;

/// The least, so that laps are short.
constexpr RecordRingOptions kSmall{1};

std::uint64_t killRounds()
{
    char const * const rounds = std::getenv("RECORD_RING_KILLS");
    return rounds != nullptr ? std::strtoull(rounds, nullptr, 10) : 100;
}

/// A process that writes numbered records, and says by a word of shared memory which `add` has returned: so it is hardly
/// ever in a system call when it is killed.
class WritingChild
{
public:
    static constexpr std::uint64_t kMostRecords = 4000;
    static constexpr std::uint64_t kNothing = UINT64_MAX;

    WritingChild(std::string const & path, RecordRingOptions const & options)
    {
        m_told->store(kNothing);
        m_child = ::fork();
        if (m_child != 0) {
            return;
        }
        RecordRing ring(path, options);
        std::uint64_t const begin = ring.lastNumber();
        for (m_told->store(begin); ring.lastNumber() != begin + kMostRecords; m_told->store(ring.lastNumber())) {
            addNumbered(ring, 1);
        }
        for (;;) {
            (void)::pause();
        }
    }
    WritingChild(WritingChild const &) = delete;
    WritingChild & operator=(WritingChild const &) = delete;
    ~WritingChild() { (void)::munmap(m_told, sizeof *m_told); }

    /// The last number that was told; the first is the one of the run before.
    std::uint64_t told() const { return m_told->load(); }
    void kill() const
    {
        (void)::kill(m_child, SIGKILL);
        (void)::waitpid(m_child, nullptr, 0);
    }

private:
    using Word = std::atomic<std::uint64_t>;

    Word * m_told =
        static_cast<Word *>(::mmap(nullptr, sizeof(Word), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    pid_t m_child = -1;
};

} // namespace

class RecordRingUse : public testing::Test
{
protected:
    TemporaryFolder folder;
    std::string path = folder.pathOf("ring");
};

TEST_F(RecordRingUse, GivesEachRecordOnceAndCountsWhatWasLapped)
{
    RecordRing ring(path, kSmall);
    RecordRingReader reader(path);
    EXPECT_FALSE(reader.next());
    // Within a lap, many laps at once, and again within one.
    for (std::uint64_t const count : {1U, 100U, 10000U, 100U, 3U}) {
        addNumbered(ring, count);
        Reading const reading(reader);
        EXPECT_TRUE(reading.isSound);
        EXPECT_EQ(reading.last, ring.lastNumber());
        EXPECT_EQ(reading.got + reading.missed, count);
        EXPECT_EQ(reading.missed != 0, count == 10000);
        EXPECT_GE(reading.got, std::min<std::uint64_t>(count, 500));
    }
}

// As the tap cuts it, so that no size that a tap may be given is lost here.
TEST_F(RecordRingUse, CutsWhatIsTooLargeIntoPieces)
{
    RecordRing ring(path, kSmall);
    RecordRingReader reader(path);
    add(ring, {}, RecordEnd::sweep);
    add(ring, textOf(2, 100000), RecordEnd::threadEnd);
    EXPECT_EQ(reader.next()->end, RecordEnd::sweep);
    auto const piece = reader.next();
    auto const rest = reader.next();
    ASSERT_TRUE(piece && rest);
    EXPECT_EQ(piece->end, RecordEnd::limit);
    EXPECT_EQ(rest->end, RecordEnd::threadEnd);
    EXPECT_EQ(piece->text + rest->text, textOf(2, 100000));
    EXPECT_EQ(rest->number, ring.lastNumber());
}

TEST_F(RecordRingUse, GoesOnWhereAReaderWants)
{
    std::optional<RecordRing> ring(std::in_place, path, kSmall);
    addNumbered(*ring, 7);
    ring.emplace(path + "2", kSmall); // frees the first one
    ring.emplace(path, kSmall);
    RecordRingReader reader(path);
    reader.continueWithLast(3);
    EXPECT_FALSE(reader.next());
    addNumbered(*ring, 5000);
    std::uint64_t const last = 5007;
    std::uint64_t const first = reader.state().firstNumber;
    ASSERT_GT(first, 4000);
    struct
    {
        std::uint64_t behind;
        std::uint64_t expected;
    } const cases[] = {{0, first},       {first - 2, first}, {first - 1, first}, {first, first + 1}, {5000, 5001},
                       {last - 1, last}, {last, 0},          {last + 2, 0},      {UINT64_MAX, 0}};
    for (auto const & [behind, expected] : cases) {
        reader.continueBehind(behind);
        Reading const reading(reader);
        EXPECT_EQ(reading.first, expected) << behind;
        EXPECT_EQ(reading.got, expected == 0 ? 0 : last - expected + 1) << behind;
        EXPECT_EQ(reading.missed, 0) << behind;
    }
    for (std::uint64_t const count : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{10}, last, UINT64_MAX}) {
        reader.continueWithLast(count);
        EXPECT_EQ(Reading(reader).got, std::min(count, last - first + 1));
    }
    // Not there yet, and those between are not wanted.
    reader.continueBehind(last + 2);
    addNumbered(*ring, 4);
    Reading const reading(reader);
    EXPECT_EQ(reading.first, last + 3);
    EXPECT_EQ(reading.got, 2);
    EXPECT_EQ(reading.missed, 0);
}

TEST_F(RecordRingUse, CountsOnFromRunToRunAndKeepsTheLastOne)
{
    std::optional<RecordRing> ring(std::in_place, path, kSmall);
    addNumbered(*ring, 2000);
    RecordRingReader old(path);
    ring.reset();
    RingState const dead = old.state();
    EXPECT_FALSE(dead.isWritten);
    EXPECT_FALSE(old.isReplaced());
    ring.emplace(path, RecordRingOptions{1 << 20}); // of another size
    EXPECT_EQ(ring->lastNumber(), 2000);
    RecordRingReader reader(path);
    EXPECT_EQ(reader.state().firstNumber, 0);
    EXPECT_EQ(reader.state().lastNumber, 2000);
    addNumbered(*ring, 3);
    EXPECT_TRUE(old.isReplaced());
    EXPECT_FALSE(old.state().isWritten);
    EXPECT_FALSE(reader.isReplaced());
    RingState const living = reader.state();
    EXPECT_TRUE(living.isWritten);
    EXPECT_TRUE(living.isOfThisBoot);
    EXPECT_EQ(living.processId, ::getpid());
    EXPECT_GT(living.startedNanoseconds, dead.startedNanoseconds);
    EXPECT_NE(living.run, dead.run);
    EXPECT_EQ(living.firstNumber, 2001);
    EXPECT_EQ(living.lastNumber, 2003);
    EXPECT_EQ(Reading(reader).got, 3);
    RecordRingReader aside(path + ".old");
    EXPECT_EQ(aside.state().run, dead.run);
    Reading const reading(aside);
    EXPECT_TRUE(reading.isSound);
    EXPECT_EQ(reading.last, 2000);
    EXPECT_EQ(reading.first, dead.firstNumber);
    EXPECT_EQ(reading.missed, 0);
}

TEST_F(RecordRingUse, KeepsWhatWasAddedUpToAnyKill)
{
    std::mt19937_64 random(std::random_device{}());
    std::uint64_t laps = 0;
    std::uint64_t last = 0;
    for (std::uint64_t rounds = killRounds(), round = 0; round != rounds; ++round) {
        // In a large one nothing is lapped; the small one is killed in the midst of its laps, or at the start.
        bool const isLarge = round % 2 == 0;
        WritingChild const child(path, RecordRingOptions{isLarge ? 8U << 20U : 1U});
        std::uint64_t const wanted = last + random() % WritingChild::kMostRecords;
        std::uint64_t looks = round % 10 == 9 ? random() % 20'000 : UINT64_MAX;
        ASSERT_TRUE(waitUntil(
            [&] { return looks-- == 0 || (child.told() != WritingChild::kNothing && child.told() >= wanted); }));
        child.kill();
        std::uint64_t const told = child.told() == WritingChild::kNothing ? last : child.told();
        RecordRingReader reader(path);
        RingState const state = reader.state();
        Reading const reading(reader);
        ASSERT_TRUE(reading.isSound && !state.isWritten);
        ASSERT_EQ(reading.missed, 0);
        ASSERT_GE(state.lastNumber, told);
        ASSERT_LE(state.lastNumber, told + 1);
        if (told > last) {
            bool const isLapped = reading.first != last + 1;
            laps += isLapped ? 1 : 0;
            ASSERT_EQ(reading.last, state.lastNumber);
            ASSERT_TRUE(!isLapped || (!isLarge && reading.got > 250)) << reading.first << ", " << reading.got;
            ASSERT_TRUE(round == 0 || RecordRingReader(path + ".old").state().lastNumber == last);
        }
        last = state.lastNumber;
    }
    EXPECT_GT(laps, 0);
}

// At full speed, where the reader is lapped again and again. Each text has one length, so that all stand at the same
// places and one torn by the next lap would be of the right size.
TEST_F(RecordRingUse, IsReadWhileItIsWritten)
{
    constexpr std::uint64_t kRecords = 200'000;
    RecordRing ring(path, kSmall);
    RecordRingReader reader(path);
    std::atomic<bool> isDone{false};
    std::thread writer([&] {
        addNumbered(ring, kRecords, 200);
        isDone.store(true);
    });
    std::thread visitor([&] {
        RecordRingReader visiting(path);
        std::uint64_t last = 0;
        while (!isDone.load()) {
            RingState const state = visiting.state();
            EXPECT_LE(state.firstNumber, state.lastNumber);
            EXPECT_GE(state.lastNumber, last);
            last = state.lastNumber;
            visiting.continueWithLast(10);
            auto const record = visiting.next();
            EXPECT_TRUE(!record || (record->text == textOf(record->number, 200) && record->number + 10 > last));
        }
    });
    Reading sum(reader, 200);
    while (!isDone.load() || sum.last != kRecords) {
        Reading const part(reader, 200);
        sum.isSound = sum.isSound && part.isSound;
        sum.got += part.got;
        sum.missed += part.missed;
        sum.last = part.got != 0 ? part.last : sum.last;
    }
    writer.join();
    visitor.join();
    EXPECT_TRUE(sum.isSound);
    EXPECT_EQ(sum.got + sum.missed, kRecords);
    EXPECT_GT(sum.got, 500);
}

} // namespace common::log::host::test
