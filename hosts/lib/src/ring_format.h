#pragma once

#include <common/log/host/record_tap.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace common::log::host {

// The file of a ring: a page that describes it, then the data, both in 64-bit words of the machine's own byte order.
//
// Entries lie in the data one behind the other, across its end too, from where they go on at its begin. Positions
// count all bytes ever written and never go back, so that a position tells one lap from another. An entry is
//
//     number | length of the text, bytes of the entry ahead | checksum, end | text, padded to whole words
//
// The page holds, beside what is written once, the position of the oldest entry ("tail") and what was there to be read
// ("commit") twice. A commit is written over the older of the two, with a check word over it: so there is a whole one
// at any instant, which a death of the writer cannot tear, and a damaged one is seen. No length of a filler, no flag of
// an unfinished write needs to be understood behind a kill: what no commit covers is not there.

static_assert(std::atomic<std::uint64_t>::is_always_lock_free && sizeof(std::atomic<std::uint64_t>) == 8,
              "words of a mapped file are shared by processes");

constexpr std::uint64_t kRingPageBytes = 4096;
constexpr std::uint64_t kRingEntryBytes = 24; ///< of an entry without text
/// Two entries of the limit that a tap has by default: one can always be there while another is written.
constexpr std::uint64_t kLeastRingBytes = 33 * kRingPageBytes;

/// What is written once. It stands at the begin of the file.
struct RingIdentity
{
    char magic[8];
    std::uint32_t version;
    std::uint32_t checksum; ///< over all of this, with a 0 here
    std::uint64_t capacityBytes;
    std::uint64_t numberBefore; ///< the last one of the ring before
    std::int64_t processId;
    std::int64_t startedNanoseconds;
    char run[32];  ///< digits, without an end
    char boot[40]; ///< identification of the boot, filled up with zeros
};

/// @param previousNumber  of the newest record of the ring before
RingIdentity makeRingIdentity(std::uint64_t capacityBytes, std::uint64_t previousNumber, std::string const & run,
                              std::string const & boot, std::int64_t processId, std::int64_t startedNanoseconds);

/// @return why this is not the begin of a ring that can be read; empty where it is
std::string faultOf(RingIdentity const & identity);

/// What a reader may read.
struct RingCommit
{
    std::uint64_t head = 0;       ///< position behind the newest entry
    std::uint64_t lastEntry = 0;  ///< position of the newest entry
    std::uint64_t lastNumber = 0; ///< its number; that of the ring before without one
};

struct RingEntry
{
    std::uint64_t number = 0;
    std::uint32_t length = 0;
    std::uint32_t previousBytes = 0; ///< size of the entry ahead, by which a reader goes back; 0 at position 0
    std::uint32_t checksum = 0;
    RecordEnd end = RecordEnd::flush;

    std::uint64_t bytes() const { return kRingEntryBytes + (std::uint64_t{length} + 7) / 8 * 8; }
};

/// The words of a ring's file in memory. Any content is safe to look at: every position leads into the data.
///
/// Threads  One writes, any number read, all without a lock. Every word is an atomic: stored with release and loaded
///          with acquire. So whoever sees a commit sees the entries below it, and whoever sees a single word of an
///          entry sees the tail that was moved up ahead of it; otherwise a reader could take a text that is being
///          overwritten for an unharmed one. This costs nothing on x86, and a plain copy could not say it.
class RingMemory
{
public:
    /// @param file  the mapped file, or only its first page where nobody asks for entries
    RingMemory(void * file, std::uint64_t capacityBytes, std::uint32_t seed);

    std::uint64_t capacityBytes() const { return m_dataWords * 8; }
    /// The longest text of an entry.
    std::uint64_t mostTextBytes() const;

    std::uint64_t tail() const;
    void setTail(std::uint64_t position);

    /// The newest one; nothing where both are damaged.
    std::optional<RingCommit> commit() const;
    void setCommit(RingCommit const & commit);

    RingEntry entry(std::uint64_t position) const;
    std::string text(std::uint64_t position, std::uint32_t length) const;
    void put(std::uint64_t position, RingEntry const & entry, std::string_view text);

    /// CRC-32 of the text. It begins with a mix of all else that makes an entry, its place and its ring included, so
    /// that it fits nowhere else; this mix costs a tenth of what the same CRC over these words does.
    std::uint32_t checksumOf(std::uint64_t position, RingEntry const & entry, std::string_view text) const;

private:
    using Word = std::atomic<std::uint64_t>;

    std::size_t indexOf(std::uint64_t position) const { return position % capacityBytes() / 8; }
    std::size_t indexBehind(std::size_t index) const { return index + 1 == m_dataWords ? 0 : index + 1; }

    std::optional<RingCommit> commitIn(std::size_t slot) const;
    std::uint64_t checkOf(RingCommit const & commit) const;

    Word * m_page;
    Word * m_data;
    std::uint64_t m_dataWords;
    std::uint32_t m_seed;
};

} // namespace common::log::host
