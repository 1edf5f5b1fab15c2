#pragma once

#include <common/log/host/record_tap.h>

#include <cstdint>
#include <memory>
#include <string>

namespace common::log::host {

struct RecordRingOptions
{
    /// Of the data; rounded up to whole pages, at least one record of the tap's limit.
    std::uint64_t capacityBytes = std::uint64_t{64} * 1024 * 1024;
};

/// The newest records of a process in a mapped file of fixed size, from which any process may read them while they are
/// written and after the writer was killed at any instant, see RecordRingReader.
///
/// Numbers    Each record gets the next one, from 1. A ring that takes the place of a readable one goes on behind its
///            last number, so that the records of all runs in one directory are numbered in a row.
/// File       Its blocks are reserved at the construction, so that no full disk can hurt later. What lies there under
///            its name is set aside as `PATH.old` first, in place of an earlier one: the ring of the last run, or what
///            is damaged, of another version or no ring at all. Where the construction fails, all of it stays as it
///            was. `PATH.lock` stays beside it; `PATH.new` is there for the moment of a start.
/// Threads    `add` from one thread at a time, which is what the tap does with its sinks; the rest at any time. One
///            writer: a second one on the same file, in whatever process, is refused while the first lives, or a
///            child that it forked without another program.
/// Real time  `add` makes no system call, takes no lock and allocates nothing; it may meet page faults.
/// Errors     By the constructor alone. The death of the process loses nothing that `add` has returned from; that of
///            the machine loses what the system had not written back.
class RecordRing
{
public:
    /// @param path  its directory has to be there
    /// @throws std::system_error  with the reason: no such directory, disk full or read-only, too large for the address
    ///                            space, written by a living process (EBUSY)
    explicit RecordRing(std::string const & path, RecordRingOptions options = {});
    RecordRing(RecordRing const &) = delete;
    RecordRing & operator=(RecordRing const &) = delete;
    ~RecordRing();

    /// A sink of the tap. The record's own number is not used. A text above half of the capacity, less the 24 bytes of
    /// an entry, is cut into pieces as the tap does it, with a number and RecordEnd::limit each.
    void add(TappedRecord const & record) noexcept;

    std::string const & path() const;
    /// Of the newest record, of this run or the one before; 0 with none.
    std::uint64_t lastNumber() const;

private:
    class Writer;
    std::unique_ptr<Writer> m_writer;
};

} // namespace common::log::host
