#include <common/log/host/record_ring_reader.h>

#include "ring_file.h"
#include "ring_format.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

namespace common::log::host {

namespace {

/// How often the oldest record is gone by the time it is read, before the newest one is taken instead.
constexpr int kOldestAttempts = 8;

/// @throws std::runtime_error
RingIdentity readableIdentity(std::string const & path, RingDescriptor const & file)
{
    RingIdentity const identity = pageOf(file).identity();
    RingFileKey const key = keyOf(file);
    std::string fault = key.isRegular ? faultOf(identity) : "is no file";
    // A file shorter than that would end the process at the first look behind its end.
    if (fault.empty() && key.bytes != kRingPageBytes + identity.capacityBytes) {
        fault = "is a ring of another size: " + std::to_string(key.bytes) + " bytes in place of " +
                std::to_string(kRingPageBytes + identity.capacityBytes);
    }
    if (!fault.empty()) {
        throw std::runtime_error(path + " " + fault);
    }
    return identity;
}

std::string textOf(char const * text, std::size_t size) { return {text, std::find(text, text + size, '\0')}; }

} // namespace

class RecordRingReader::Mapping
{
public:
    explicit Mapping(std::string path)
        : m_path(std::move(path)), m_file(openRing(m_path)), m_identity(readableIdentity(m_path, m_file)),
          m_mapping(m_file, kRingPageBytes + m_identity.capacityBytes, RingMapping::Access::read),
          m_memory(m_mapping.data(), m_identity.capacityBytes, m_identity.checksum)
    {
        auto const commit = m_memory.commit();
        if (!commit) {
            throw std::runtime_error(m_path + " is a ring that is damaged in its head");
        }
        m_commit = *commit;
        Place const begin = oldest();
        m_position = begin.position;
        m_expected = begin.number;
    }

    std::optional<RingRecord> next()
    {
        for (;;) {
            lookAtCommit();
            if (m_position >= m_commit.head) {
                return {};
            }
            std::optional<RingRecord> record = read(m_position);
            if (!record) {
                // Ahead in any case, so that this comes to the head whatever the file holds.
                std::uint64_t const begin = m_position < tail() ? oldest().position : 0;
                m_position = begin > m_position ? begin : behindDamage();
                continue;
            }
            m_position += RingEntry{0, static_cast<std::uint32_t>(record->text.size())}.bytes();
            if (record->number >= m_expected) {
                record->missedAhead = record->number - m_expected;
                m_expected = record->number + 1;
                return record;
            }
        }
    }

    void continueBehind(std::uint64_t number)
    {
        lookAtCommit();
        m_expected = number + (number == std::numeric_limits<std::uint64_t>::max() ? 0 : 1);
        if (number >= m_commit.lastNumber) {
            m_position = m_commit.head;
            return;
        }
        Place const first = oldest();
        Place const wanted = first.number > number ? first : walkBack(m_expected, 0);
        // Where damage lies between, `next` looks for what is behind it, from the begin.
        m_position = wanted.number <= m_expected ? wanted.position : first.position;
        m_expected = std::max(m_expected, first.number);
    }

    void continueWithLast(std::uint64_t count)
    {
        lookAtCommit();
        continueBehind(m_commit.lastNumber - std::min(count, m_commit.lastNumber));
    }

    RingState state()
    {
        lookAtCommit();
        RingState state;
        state.run = textOf(m_identity.run, sizeof m_identity.run);
        state.processId = m_identity.processId;
        state.startedNanoseconds = m_identity.startedNanoseconds;
        std::string const boot = textOf(m_identity.boot, sizeof m_identity.boot);
        state.isOfThisBoot = !boot.empty() && boot == bootName();
        state.isWritten = isRingWritten(m_file);
        Place const first = oldest();
        state.firstNumber = first.position < m_commit.head ? first.number : 0;
        state.lastNumber = m_commit.lastNumber;
        return state;
    }

    bool isReplaced() const
    {
        RingFileKey const mine = keyOf(m_file);
        RingFileKey const named = keyOf(m_path);
        return named.inode != 0 && (named.inode != mine.inode || named.device != mine.device);
    }

private:
    struct Place
    {
        std::uint64_t position;
        std::uint64_t number; ///< of the entry there, or at the head of the next one
    };

    /// Takes over what was written meanwhile. A commit that cannot be read now can be the next time, or never.
    void lookAtCommit()
    {
        auto const commit = m_memory.commit();
        if (commit && commit->lastNumber > m_commit.lastNumber) {
            m_commit = *commit;
        }
    }

    /// Below this all may be overwritten at any moment; 0 where it cannot be right.
    std::uint64_t tail() const
    {
        std::uint64_t const tail = m_memory.tail();
        return tail == m_damagedTail ? 0 : tail;
    }

    /// Nothing where the entry is damaged, or was overwritten before its copy was made.
    std::optional<RingRecord> read(std::uint64_t position) const
    {
        RingEntry const entry = m_memory.entry(position);
        if (entry.length > m_memory.mostTextBytes() || position + entry.bytes() > m_commit.head) {
            return {};
        }
        RingRecord record{entry.number, 0, entry.end, m_memory.text(position, entry.length)};
        if (position < tail() || entry.checksum != m_memory.checksumOf(position, entry, record.text)) {
            return {};
        }
        return record;
    }

    Place oldest()
    {
        std::uint64_t tail = 0;
        for (int attempt = 0; attempt != kOldestAttempts; ++attempt) {
            tail = m_memory.tail();
            lookAtCommit(); // behind it: the tail is never above the head
            if (tail == m_commit.head) {
                return {m_commit.head, m_commit.lastNumber + 1};
            }
            if (auto const record = tail < m_commit.head ? read(tail) : std::nullopt) {
                return {tail, record->number};
            }
        }
        if (m_memory.tail() != tail) {
            return {m_commit.lastEntry, m_commit.lastNumber}; // the writer is quicker than this reader
        }
        m_damagedTail = tail; // or the entry there is: then it is the right one, but nobody needs it any more
        return walkBack(0, 0);
    }

    /// The oldest entry that can be reached from the head through the sizes of undamaged ones, but not below a number
    /// and a position. Without any, the head.
    Place walkBack(std::uint64_t leastNumber, std::uint64_t leastPosition) const
    {
        Place place{m_commit.head, m_commit.lastNumber + 1};
        std::uint64_t const end = std::max(leastPosition, tail());
        std::uint64_t position = m_commit.lastEntry;
        while (place.position != 0 && place.number > leastNumber && position >= end &&
               m_commit.head - position <= m_memory.capacityBytes()) {
            RingEntry const entry = m_memory.entry(position);
            if (position + entry.bytes() != place.position || entry.number != place.number - 1) {
                break;
            }
            place = {position, entry.number};
            if (entry.previousBytes == 0 || entry.previousBytes > position) {
                break;
            }
            position -= entry.previousBytes;
        }
        return place;
    }

    /// Where to go on behind an entry that is damaged. From a walk on, all sizes up to the head are known to be good:
    /// so there is one walk for many damaged texts.
    std::uint64_t behindDamage() const
    {
        std::uint64_t const bytes = m_memory.entry(m_position).bytes();
        std::uint64_t const next = m_position + bytes;
        if (next < m_commit.head ? m_memory.entry(next).previousBytes == bytes
                                 : next == m_commit.head && m_position == m_commit.lastEntry) {
            return next;
        }
        return walkBack(0, m_position + 1).position;
    }

    std::string const m_path;
    RingDescriptor const m_file;
    RingIdentity const m_identity;
    RingMapping const m_mapping;
    RingMemory const m_memory;
    RingCommit m_commit;
    std::uint64_t m_position = 0;
    std::uint64_t m_expected = 0; ///< the number that is no gap
    std::uint64_t m_damagedTail = std::numeric_limits<std::uint64_t>::max();
};

RecordRingReader::RecordRingReader(std::string const & path) : m_mapping(std::make_unique<Mapping>(path)) {}
RecordRingReader::RecordRingReader(RecordRingReader &&) noexcept = default;
RecordRingReader & RecordRingReader::operator=(RecordRingReader &&) noexcept = default;
RecordRingReader::~RecordRingReader() = default;

std::optional<RingRecord> RecordRingReader::next() { return m_mapping->next(); }
void RecordRingReader::continueBehind(std::uint64_t number) { m_mapping->continueBehind(number); }
void RecordRingReader::continueWithLast(std::uint64_t count) { m_mapping->continueWithLast(count); }
RingState RecordRingReader::state() const { return m_mapping->state(); }
bool RecordRingReader::isReplaced() const { return m_mapping->isReplaced(); }

} // namespace common::log::host
