#include <common/log/host/record_ring.h>

#include "ring_file.h"
#include "ring_format.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <limits>
#include <optional>
#include <system_error>

namespace common::log::host {

namespace {

std::uint64_t wholePages(std::uint64_t capacityBytes)
{
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max() - 2 * kRingPageBytes;
    if (capacityBytes > kMost) {
        throw std::system_error(EFBIG, std::generic_category(), "ring of " + std::to_string(capacityBytes) + " bytes");
    }
    std::uint64_t const pages = (capacityBytes + kRingPageBytes - 1) / kRingPageBytes;
    return std::max(pages * kRingPageBytes, kLeastRingBytes);
}

std::int64_t wallClock()
{
    auto const time = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(time).count();
}

} // namespace

/// The one writer. What it goes by is its own and not the file's, so that nothing that happens to the file can lead it
/// astray.
class RecordRing::Writer
{
public:
    Writer(std::string const & path, std::uint64_t capacityBytes)
        : m_name(path), m_commit{0, 0, m_name.lastNumber()}, m_lastNumber(m_commit.lastNumber),
          m_file(m_name.makeNext(kRingPageBytes + capacityBytes))
    {
        try {
            m_mapping.emplace(m_file, kRingPageBytes + capacityBytes, RingMapping::Access::write);
            RingIdentity const identity = makeRingIdentity(capacityBytes, m_commit.lastNumber, makeRunName(),
                                                           bootName(), thisProcess(), wallClock());
            *static_cast<RingIdentity *>(m_mapping->data()) = identity;
            m_memory.emplace(m_mapping->data(), capacityBytes, identity.checksum);
            m_memory->setCommit(m_commit);
            m_name.putNextInPlace();
        } catch (...) {
            m_name.removeNext();
            throw;
        }
    }

    std::string const & path() const { return m_name.path(); }
    // Relaxed: it stands for itself.
    std::uint64_t lastNumber() const { return m_lastNumber.load(std::memory_order_relaxed); }

    void add(std::string_view text, RecordEnd end)
    {
        std::uint64_t const most = m_memory->mostTextBytes();
        for (; text.size() > most; text.remove_prefix(most)) {
            put(text.substr(0, most), RecordEnd::limit);
        }
        put(text, end);
    }

private:
    void put(std::string_view text, RecordEnd end)
    {
        RingEntry entry{m_commit.lastNumber + 1, static_cast<std::uint32_t>(text.size()),
                        static_cast<std::uint32_t>(m_commit.head - m_commit.lastEntry), 0, end};
        entry.checksum = m_memory->checksumOf(m_commit.head, entry, text);
        giveUpBelow(m_commit.head + entry.bytes());
        m_memory->put(m_commit.head, entry, text);
        // From here on a kill loses nothing of it.
        m_commit = {m_commit.head + entry.bytes(), m_commit.head, entry.number};
        m_memory->setCommit(m_commit);
        m_lastNumber.store(entry.number, std::memory_order_relaxed); // pairs with lastNumber()
    }

    /// Moves the tail up so that nothing up to a position is in the way.
    void giveUpBelow(std::uint64_t end)
    {
        if (end - m_tail <= m_memory->capacityBytes()) {
            return;
        }
        while (end - m_tail > m_memory->capacityBytes()) {
            // A size that somebody damaged may lead anywhere, but not above the head.
            m_tail = std::min(m_tail + m_memory->entry(m_tail).bytes(), m_commit.head);
        }
        m_memory->setTail(m_tail);
    }

    RingName const m_name;
    RingCommit m_commit;
    std::uint64_t m_tail = 0;
    std::atomic<std::uint64_t> m_lastNumber;
    RingDescriptor const m_file; ///< its lock tells readers that it is written
    std::optional<RingMapping> m_mapping;
    std::optional<RingMemory> m_memory;
};

RecordRing::RecordRing(std::string const & path, RecordRingOptions options)
    : m_writer(std::make_unique<Writer>(path, wholePages(options.capacityBytes)))
{}

RecordRing::~RecordRing() = default;

void RecordRing::add(TappedRecord const & record) noexcept { m_writer->add(record.text, record.end); }

std::string const & RecordRing::path() const { return m_writer->path(); }
std::uint64_t RecordRing::lastNumber() const { return m_writer->lastNumber(); }

} // namespace common::log::host
