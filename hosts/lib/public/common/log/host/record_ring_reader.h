#pragma once

#include <common/log/host/record_tap.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace common::log::host {

struct RingRecord
{
    std::uint64_t number = 0;
    std::uint64_t missedAhead = 0; ///< records between the one read before and this one that the ring had no longer
    RecordEnd end = RecordEnd::flush;
    std::string text; ///< just as it was written, the line end in front included
};

/// What the head of a ring says of it.
struct RingState
{
    std::string run;                     ///< identifies the run of the writer: differs between any two rings ever made
    std::int64_t processId = 0;          ///< of the writer
    std::int64_t startedNanoseconds = 0; ///< since 1970, when the ring was made
    bool isOfThisBoot = false;           ///< made since the machine was started
    bool isWritten = false;              ///< the writer still has it open
    std::uint64_t firstNumber = 0;       ///< the oldest record that can be read; 0 without any
    std::uint64_t lastNumber = 0;        ///< the newest one
};

/// Reads a ring that this or another process writes, or has written.
///
/// Each record comes once and in order. What was overwritten before it could be read, or is damaged, is a counted gap
/// and never a wrong record: number, length and checksum are looked at behind the copy.
///
/// Threads    One at a time; any number of readers on one ring. The writer does not notice them.
/// Errors     By the constructor, and `next` throws std::bad_alloc. A file that shrinks while it is mapped is not
///            expected: nobody of this system does that.
class RecordRingReader
{
public:
    /// Begins with the oldest record.
    ///
    /// @throws std::system_error   where the file cannot be opened or mapped
    /// @throws std::runtime_error  where it is no ring, damaged in its head, of another version or of another size; the
    ///                             text names file and reason
    explicit RecordRingReader(std::string const & path);
    RecordRingReader(RecordRingReader &&) noexcept;
    RecordRingReader & operator=(RecordRingReader &&) noexcept;
    ~RecordRingReader();

    /// The next record, or nothing where there is none yet.
    std::optional<RingRecord> next();

    /// Goes on with the first record above a number; those that the ring has no longer are no gap then.
    void continueBehind(std::uint64_t number);
    /// Goes on with the newest `count` records.
    void continueWithLast(std::uint64_t count);

    RingState state() const;

    /// Whether the file under this name is another one by now: the next run of the host has made its own.
    bool isReplaced() const;

private:
    class Mapping;
    std::unique_ptr<Mapping> m_mapping;
};

} // namespace common::log::host
