#include "ring_support.h"

#include "support/process_state.h"
#include "support/rounds.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace common::log::host::test {

namespace {

using common::log::test::waitUntil;

using Word = std::atomic<std::uint64_t>;
constexpr std::uint64_t kNothing = UINT64_MAX;
constexpr std::uint64_t kMostRecords = 4000;

/// Writes numbered records, and says by a word of shared memory which `add` has returned, first the last one of the run
/// before: so it is hardly ever in a system call when it is killed.
[[noreturn]] void writeUntilKilled(std::string const & path, RecordRingOptions const & options, Word & told)
{
    RecordRing ring(path, options);
    std::uint64_t const end = ring.lastNumber() + kMostRecords;
    for (told = ring.lastNumber(); told != end; told = ring.lastNumber()) {
        addNumbered(ring, 1);
    }
    for (;;) {
        (void)::pause();
    }
}

} // namespace

class RecordRingUse : public RingTest
{
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
    add(ring, {}, RecordEnd::sweep);
    add(ring, textOf(2, 100000), RecordEnd::threadEnd);
    std::string text;
    std::vector<RecordEnd> ends;
    RecordRingReader reader(path);
    for (auto record = reader.next(); record; record = reader.next()) {
        text += record->text;
        ends.push_back(record->end);
    }
    EXPECT_EQ(text, textOf(2, 100000));
    EXPECT_EQ(ends, (std::vector{RecordEnd::sweep, RecordEnd::limit, RecordEnd::threadEnd}));
}

TEST_F(RecordRingUse, GoesOnWhereAReaderWants)
{
    std::optional<RecordRing> before(std::in_place, path, kSmall);
    addNumbered(*before, 7);
    before.reset();
    RecordRing ring(path, kSmall);
    RecordRingReader reader(path);
    reader.continueWithLast(3);
    EXPECT_FALSE(reader.next());
    addNumbered(ring, 5000);
    std::uint64_t const last = 5007;
    std::uint64_t const first = reader.state().firstNumber;
    ASSERT_GT(first, 4000);
    std::pair<std::uint64_t, std::uint64_t> const cases[] = {{0, first},         {first - 2, first}, {first - 1, first},
                                                             {first, first + 1}, {5000, 5001},       {last - 1, last},
                                                             {last, 0},          {last + 2, 0},      {UINT64_MAX, 0}};
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
    addNumbered(ring, 4);
    Reading const reading(reader);
    EXPECT_TRUE(reading.first == last + 3 && reading.got == 2 && reading.missed == 0);
}

TEST_F(RecordRingUse, CountsOnFromRunToRunAndKeepsTheLastOne)
{
    std::optional<RecordRing> ring(std::in_place, path, kSmall);
    addNumbered(*ring, 2000);
    RecordRingReader old(path);
    ring.reset();
    EXPECT_FALSE(old.isReplaced());
    ring.emplace(path, RecordRingOptions{1 << 20}); // of another size
    RecordRingReader reader(path);
    EXPECT_EQ(reader.state().firstNumber, 0);
    EXPECT_EQ(reader.state().lastNumber, 2000);
    addNumbered(*ring, 3);
    EXPECT_TRUE(old.isReplaced() && !reader.isReplaced());
    RingState const dead = old.state();
    RingState const living = reader.state();
    EXPECT_TRUE(living.isWritten && !dead.isWritten && living.isOfThisBoot);
    EXPECT_EQ(living.processId, ::getpid());
    EXPECT_GT(living.startedNanoseconds, dead.startedNanoseconds);
    EXPECT_NE(living.run, dead.run);
    EXPECT_EQ(living.firstNumber, 2001);
    EXPECT_EQ(Reading(reader).got, 3);
    RecordRingReader aside(path + ".old");
    EXPECT_EQ(aside.state().run, dead.run);
    Reading const reading(aside);
    EXPECT_TRUE(reading.isSound && reading.missed == 0);
    EXPECT_EQ(reading.last, 2000);
    EXPECT_EQ(reading.first, dead.firstNumber);
}

TEST_F(RecordRingUse, KeepsWhatWasAddedUpToAnyKill)
{
    std::mt19937_64 random(std::random_device{}());
    void * const shared = ::mmap(nullptr, sizeof(Word), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Word & told = *static_cast<Word *>(shared);
    std::uint64_t laps = 0;
    std::uint64_t last = 0;
    std::uint64_t missing = 0;
    std::uint64_t const rounds = common::log::test::roundsOf("RECORD_RING_KILLS", 100);
    for (std::uint64_t round = 0; round != rounds; ++round) {
        told = kNothing;
        // In a large one nothing is lapped; the small one is killed in the midst of its laps, or at the start.
        bool const isLarge = round % 2 == 0;
        pid_t const child = ::fork();
        if (child == 0) {
            writeUntilKilled(path, RecordRingOptions{isLarge ? 2U << 20U : 1U}, told);
        }
        std::uint64_t const wanted = last + random() % kMostRecords;
        std::uint64_t looks = round % 10 == 9 ? random() % 20'000 : UINT64_MAX;
        ASSERT_TRUE(waitUntil([&] { return looks-- == 0 || (told != kNothing && told >= wanted); }));
        ASSERT_TRUE(::kill(child, SIGKILL) == 0 && ::waitpid(child, nullptr, 0) == child);
        told = told == kNothing ? last : told.load();
        RecordRingReader reader(path);
        RingState const state = reader.state();
        Reading const reading(reader);
        ASSERT_TRUE(reading.isSound && !state.isWritten);
        ASSERT_EQ(reading.missed, 0);
        missing += told - std::min(told.load(), state.lastNumber);
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
    EXPECT_EQ(missing, 0);
    (void)::munmap(shared, sizeof(Word));
    common::log::test::printSeen(std::to_string(rounds) + " kills, " + std::to_string(laps) + " of a lapped ring, " +
                                 std::to_string(missing) + " records missing");
}

// At full speed, where the reader is lapped again and again. Each text has one length, so that all stand at the same
// places and one torn by the next lap would be of the right size.
TEST_F(RecordRingUse, IsReadWhileItIsWritten)
{
    constexpr std::uint64_t kRecords = 60'000;
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
