#include "ring_support.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <system_error>
#include <vector>

#include <sys/mman.h>

#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>

namespace common::log::host::test {

namespace {

using testing::HasSubstr;

constexpr std::size_t kPage = 4096;
constexpr std::size_t kTextBytes = 2000; ///< so that a ring holds some tens
constexpr std::uint64_t kRecords = 150;
constexpr std::uint64_t kEntryBytes = 2024;

std::string contentOf(std::string const & path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Reads a ring whose file was damaged; a head that is refused is an empty reading.
std::optional<Reading> readingOf(std::string const & path)
{
    try {
        RecordRingReader reader(path);
        (void)reader.state();
        reader.continueWithLast(3);
        (void)reader.next();
        reader.continueBehind(0);
        return Reading(reader, kTextBytes);
    } catch (std::runtime_error const & error) {
        EXPECT_THAT(error.what(), HasSubstr(path));
        return {};
    }
}

} // namespace

class RecordRingFault : public RingTest
{
protected:
    /// A ring that was lapped, and its file mapped to be damaged.
    struct Lapped
    {
        explicit Lapped(std::string const & path) : ring(std::in_place, path, kSmall)
        {
            addNumbered(*ring, kRecords, kTextBytes);
            bytes = std::filesystem::file_size(path);
            int const file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
            data = static_cast<char *>(::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
            (void)::close(file);
        }
        Lapped(Lapped const &) = delete;
        Lapped & operator=(Lapped const &) = delete;
        ~Lapped() { (void)::munmap(data, bytes); }

        std::optional<RecordRing> ring;
        std::size_t bytes = 0;
        char * data = nullptr;
    };
};

TEST_F(RecordRingFault, ReadsNothingWrongFromAHeadWithADamagedByte)
{
    Lapped const lapped(path);
    Reading const whole = readingOf(path).value();
    ASSERT_TRUE(whole.isSound && whole.last == kRecords && whole.got > 60);
    constexpr int kChanges[] = {0x01, 0xFF, 0x80, 0x10, 0x08};
    std::size_t refused = 0;
    for (std::size_t i = 0; i != kPage; ++i) {
        char const before = lapped.data[i];
        lapped.data[i] = static_cast<char>(before ^ kChanges[i % std::size(kChanges)]);
        std::optional<Reading> const reading = readingOf(path);
        lapped.data[i] = before;
        refused += reading ? 0U : 1U;
        // At worst, the oldest ones or the newest one are not found.
        EXPECT_TRUE(!reading || (reading->isSound && reading->got <= whole.got && reading->missed == 0 &&
                                 reading->last + 1 >= kRecords))
            << i;
    }
    EXPECT_EQ(refused, 120) << "each byte that is written once";
}

TEST_F(RecordRingFault, MissesOneRecordForADamagedByteOfIt)
{
    Lapped const lapped(path);
    Reading const whole = readingOf(path).value();
    std::uint64_t const words = (lapped.bytes - kPage) / 8;
    // Each byte of the fields of all entries, and some of the texts.
    for (std::uint64_t position = (whole.first - 1) * kEntryBytes; position != kRecords * kEntryBytes; position += 8) {
        std::uint64_t const inEntry = position % kEntryBytes;
        std::uint64_t const number = position / kEntryBytes + 1;
        std::uint64_t const byte = position % (words * 8) + kPage;
        for (std::uint64_t i = byte; inEntry < 24 ? i != byte + 8 : i == byte && inEntry % 400 == 24; ++i) {
            lapped.data[i] = static_cast<char>(lapped.data[i] ^ 0x24);
            Reading const reading = readingOf(path).value();
            lapped.data[i] = static_cast<char>(lapped.data[i] ^ 0x24);
            SCOPED_TRACE("record " + std::to_string(number) + ", byte " + std::to_string(inEntry + i - byte));
            EXPECT_TRUE(reading.isSound);
            EXPECT_EQ(reading.got, whole.got - 1);
            // No gap without a record behind it, and ahead of the first only where its number is known all the same.
            EXPECT_TRUE(number == whole.first ? reading.missed <= 1 : reading.missed == (number == kRecords ? 0U : 1U));
        }
    }
}

TEST_F(RecordRingFault, ComesToTheEndOfAnyDamage)
{
    std::mt19937_64 random(20240307);
    for (int round = 0; round != 150; ++round) {
        std::filesystem::remove(path);
        Lapped lapped(path);
        RecordRingReader reader(path); // which has seen it whole
        for (auto blocks = 1 + random() % 20; blocks != 0; --blocks) {
            std::size_t const begin = random() % 3 == 0 ? random() % 1300 : random() % lapped.bytes;
            std::size_t const size = std::min<std::size_t>(lapped.bytes - begin, std::size_t{1} << random() % 17);
            for (std::size_t i = begin; i != begin + size; ++i) {
                lapped.data[i] = round % 2 == 0 ? '\0' : static_cast<char>(random());
            }
        }
        Reading const reading(reader, kTextBytes);
        EXPECT_TRUE(reading.isSound && reading.got + reading.missed <= kRecords) << round;
        // A stray write leads no writer astray, and a lap later all is well but what is written once.
        addNumbered(*lapped.ring, kRecords, kTextBytes);
        Reading const healed(reader, kTextBytes);
        EXPECT_TRUE(healed.isSound && healed.last == 2 * kRecords) << round;
        std::optional<Reading> const whole = readingOf(path);
        EXPECT_TRUE(!whole || (whole->isSound && whole->got > 60 && whole->missed == 0)) << round;
        lapped.ring.emplace(folder.pathOf("other"), kSmall);
        EXPECT_THAT(RecordRing(path, kSmall).lastNumber(), testing::AnyOf(0, 2 * kRecords)) << round;
    }
}

TEST_F(RecordRingFault, SetsAsideWhatItDoesNotGoOnWith)
{
    struct
    {
        char const * name;
        std::function<void(std::string &)> change;
        char const * refusal;
        std::uint64_t goesOnBehind;
    } const cases[] = {
        {"empty", [](std::string & file) { file.clear(); }, "is no ring", 0},
        {"text", [](std::string & file) { file = "[settings]\n"; }, "is no ring", 0},
        {"other version", [](std::string & file) { file[8] = 2; }, "of version 2, not 1", 0},
        {"damaged identity", [](std::string & file) { file[30] ^= 1; }, "damaged in its head", 0},
        {"damaged commits", [](std::string & file) { file.replace(1088, 128, 128, 'x'); }, "damaged in its head", 0},
        {"one page", [](std::string & file) { file.resize(kPage); }, "of another size", kRecords},
        {"cut", [](std::string & file) { file.pop_back(); }, "of another size", kRecords},
        {"longer", [](std::string & file) { file += 'x'; }, "of another size", kRecords},
    };
    for (auto const & [name, change, refusal, goesOnBehind] : cases) {
        SCOPED_TRACE(name);
        std::filesystem::remove(path);
        (void)Lapped(path);
        std::string content = contentOf(path);
        change(content);
        std::ofstream(path, std::ios::binary) << content;
        try {
            RecordRingReader const reader(path);
            ADD_FAILURE() << "not refused";
        } catch (std::runtime_error const & error) {
            EXPECT_THAT(error.what(), HasSubstr(refusal));
        }
        RecordRing ring(path, kSmall);
        EXPECT_EQ(ring.lastNumber(), goesOnBehind);
        EXPECT_EQ(contentOf(path + ".old"), content);
        addNumbered(ring, 1, kTextBytes);
        EXPECT_EQ(readingOf(path).value().got, 1);
    }
}

TEST_F(RecordRingFault, SaysWhyThereIsNoRingAndLeavesTheOldOne)
{
    std::optional<RecordRing> living(std::in_place, folder.pathOf("living_ring"), kSmall);
    (void)Lapped(path);
    std::string const before = contentOf(path);
    struct
    {
        std::string path;
        std::uint64_t capacity;
        std::vector<int> errors;
    } const cases[] = {
        {folder.pathOf("living_ring"), 1, {EBUSY}},
        {folder.pathOf("nothing/ring"), 1, {ENOENT}},
        {path + "/ring", 1, {ENOTDIR}},
        {path, std::uint64_t{1} << 55U, {EFBIG, ENOSPC, EINVAL}},
        {path, UINT64_MAX, {EFBIG}},
    };
    for (auto const & refused : cases) {
        SCOPED_TRACE(refused.path + ", " + std::to_string(refused.capacity));
        try {
            RecordRing const ring(refused.path, RecordRingOptions{refused.capacity});
            ADD_FAILURE() << "not refused";
        } catch (std::system_error const & error) {
            EXPECT_THAT(refused.errors, testing::Contains(error.code().value())) << error.what();
            EXPECT_THAT(error.what(), HasSubstr("ring")) << "the file or its size";
        }
    }
    EXPECT_EQ(contentOf(path), before);
    EXPECT_FALSE(std::filesystem::exists(path + ".new"));
    EXPECT_FALSE(std::filesystem::exists(path + ".old"));
    addNumbered(*living, 1);
    EXPECT_TRUE(RecordRingReader(folder.pathOf("living_ring")).state().isWritten);
    EXPECT_THROW(RecordRingReader(folder.pathOf("nothing")), std::system_error);
}

} // namespace common::log::host::test
