#include "ring_format.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <limits>

#include <libdeflate.h>

namespace common::log::host {

namespace {

constexpr char kMagic[8] = {'C', 'L', 'T', 'R', 'I', 'N', 'G', '\n'};
constexpr std::uint32_t kVersion = 1;

// Each on a cache line of its own, behind the identity.
constexpr std::size_t kTailWord = 128;
constexpr std::size_t kCommitWords[2] = {136, 144};

/// How often a commit is looked for. Both are torn for a reader only where it was held up between the two.
constexpr int kCommitAttempts = 1000;

constexpr std::uint64_t kMostTextBytes = std::uint64_t{1} << 30;

/// Differs for any two rows that differ in one value alone, and by chance for all others.
std::uint64_t mix(std::initializer_list<std::uint64_t> values)
{
    std::uint64_t mixed = 0x9E3779B97F4A7C15;
    for (std::uint64_t const value : values) {
        mixed = (mixed ^ value) * 0xD6E8FEB86659FD93;
        mixed ^= mixed >> 32U;
    }
    return mixed;
}

std::uint32_t crcOf(std::uint32_t begin, void const * data, std::size_t size)
{
    return ::libdeflate_crc32(begin, data, size);
}

std::uint32_t checksumOf(RingIdentity identity)
{
    identity.checksum = 0;
    return crcOf(0, &identity, sizeof identity);
}

bool isCapacity(std::uint64_t bytes)
{
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max() - kRingPageBytes;
    return bytes >= kLeastRingBytes && bytes <= kMost && bytes % kRingPageBytes == 0;
}

} // namespace

RingIdentity makeRingIdentity(std::uint64_t capacityBytes, std::uint64_t previousNumber, std::string const & run,
                              std::string const & boot, std::int64_t processId, std::int64_t startedNanoseconds)
{
    static_assert(sizeof(RingIdentity) == 120, "no bytes between the fields");
    RingIdentity identity{};
    std::copy(std::begin(kMagic), std::end(kMagic), identity.magic);
    identity.version = kVersion;
    identity.capacityBytes = capacityBytes;
    identity.numberBefore = previousNumber;
    identity.processId = processId;
    identity.startedNanoseconds = startedNanoseconds;
    (void)run.copy(identity.run, sizeof identity.run);
    (void)boot.copy(identity.boot, sizeof identity.boot);
    identity.checksum = checksumOf(identity);
    return identity;
}

std::string faultOf(RingIdentity const & identity)
{
    if (!std::equal(std::begin(kMagic), std::end(kMagic), identity.magic)) {
        return "is no ring of records";
    }
    if (identity.version != kVersion) {
        return "is a ring of version " + std::to_string(identity.version) + ", not " + std::to_string(kVersion);
    }
    if (identity.checksum != checksumOf(identity) || !isCapacity(identity.capacityBytes)) {
        return "is a ring that is damaged in its head";
    }
    return {};
}

RingMemory::RingMemory(void * file, std::uint64_t capacityBytes, std::uint32_t seed)
    : m_page(static_cast<Word *>(file)), m_data(m_page + kRingPageBytes / 8), m_dataWords(capacityBytes / 8),
      m_seed(seed)
{}

std::uint64_t RingMemory::mostTextBytes() const
{
    return std::min(capacityBytes() / 2 - kRingEntryBytes, kMostTextBytes) / 8 * 8;
}

// Pairs with setTail: who sees it moved up by that much takes nothing below it any more.
std::uint64_t RingMemory::tail() const { return m_page[kTailWord].load(std::memory_order_acquire); }

// Pairs with tail(). Ahead of the words that are overwritten, whose stores are releases too and so stay behind it.
void RingMemory::setTail(std::uint64_t position) { m_page[kTailWord].store(position, std::memory_order_release); }

std::optional<RingCommit> RingMemory::commit() const
{
    for (int attempt = 0; attempt != kCommitAttempts; ++attempt) {
        std::optional<RingCommit> const first = commitIn(0);
        std::optional<RingCommit> const second = commitIn(1);
        if (first && second) {
            return first->lastNumber > second->lastNumber ? first : second;
        }
        if (first || second) {
            return first ? first : second;
        }
    }
    return {};
}

std::optional<RingCommit> RingMemory::commitIn(std::size_t slot) const
{
    // Pairs with setCommit: with the head comes all that lies below it. Words of two commits fail the check.
    Word const * const words = m_page + kCommitWords[slot];
    RingCommit const commit{words[0].load(std::memory_order_acquire), words[1].load(std::memory_order_acquire),
                            words[2].load(std::memory_order_acquire)};
    if (words[3].load(std::memory_order_acquire) != checkOf(commit)) {
        return {};
    }
    return commit;
}

void RingMemory::setCommit(RingCommit const & commit)
{
    // Numbers follow one another, so this is the older one. Pairs with commitIn: no word of it is seen ahead of the
    // entry that it speaks of.
    Word * const words = m_page + kCommitWords[commit.lastNumber % 2];
    words[0].store(commit.head, std::memory_order_release);
    words[1].store(commit.lastEntry, std::memory_order_release);
    words[2].store(commit.lastNumber, std::memory_order_release);
    words[3].store(checkOf(commit), std::memory_order_release);
}

std::uint64_t RingMemory::checkOf(RingCommit const & commit) const
{
    return mix({m_seed, commit.head, commit.lastEntry, commit.lastNumber});
}

RingEntry RingMemory::entry(std::uint64_t position) const
{
    // Pairs with put, like text(): whoever sees a word of a newer lap sees the tail above this entry too.
    std::size_t index = indexOf(position);
    std::uint64_t const number = m_data[index].load(std::memory_order_acquire);
    index = indexBehind(index);
    std::uint64_t const sizes = m_data[index].load(std::memory_order_acquire);
    index = indexBehind(index);
    std::uint64_t const rest = m_data[index].load(std::memory_order_acquire);
    return {number, static_cast<std::uint32_t>(sizes), static_cast<std::uint32_t>(sizes >> 32U),
            static_cast<std::uint32_t>(rest), static_cast<RecordEnd>(rest >> 32U)};
}

std::string RingMemory::text(std::uint64_t position, std::uint32_t length) const
{
    std::string text(length, '\0');
    std::size_t index = indexOf(position + kRingEntryBytes);
    for (std::size_t done = 0; done < length; done += 8) {
        std::uint64_t const word = m_data[index].load(std::memory_order_acquire); // as in entry()
        std::memcpy(&text[done], &word, std::min<std::size_t>(8, length - done));
        index = indexBehind(index);
    }
    return text;
}

// Each store pairs with entry() and text(): behind setTail.
void RingMemory::put(std::uint64_t position, RingEntry const & entry, std::string_view text)
{
    std::size_t index = indexOf(position);
    for (std::uint64_t const word : {entry.number, entry.length | std::uint64_t{entry.previousBytes} << 32U,
                                     entry.checksum | static_cast<std::uint64_t>(entry.end) << 32U}) {
        m_data[index].store(word, std::memory_order_release);
        index = indexBehind(index);
    }
    while (text.size() >= 8) {
        // Up to the end of the data without a look at it at each word.
        std::size_t const words = std::min(text.size() / 8, m_dataWords - index);
        Word * const data = m_data + index;
        for (std::size_t done = 0; done != words; ++done) {
            std::uint64_t word = 0;
            std::memcpy(&word, text.data() + 8 * done, 8);
            data[done].store(word, std::memory_order_release);
        }
        text.remove_prefix(8 * words);
        index = index + words == m_dataWords ? 0 : index + words;
    }
    if (!text.empty()) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data(), text.size());
        m_data[index].store(word, std::memory_order_release);
    }
}

std::uint32_t RingMemory::checksumOf(std::uint64_t position, RingEntry const & entry, std::string_view text) const
{
    std::uint64_t const begin = mix({m_seed, position, entry.number, entry.length,
                                     entry.previousBytes | static_cast<std::uint64_t>(entry.end) << 32U});
    // Not without a text: the library takes a null pointer for the wish to begin anew.
    return text.empty() ? static_cast<std::uint32_t>(begin)
                        : crcOf(static_cast<std::uint32_t>(begin), text.data(), text.size());
}

} // namespace common::log::host
