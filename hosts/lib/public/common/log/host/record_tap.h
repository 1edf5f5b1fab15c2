#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <streambuf>
#include <string_view>
#include <vector>

namespace common::log::host {

class TapCore;

/// What brought a record, or a piece of one, out of its thread's buffer.
enum class RecordEnd
{
    flush,     ///< the flush that ends a record
    nextLine,  ///< the thread began its next line, see the flush behind a lone line end at RecordTap
    limit,     ///< a piece of an oversized record; more of it follows
    sweep,     ///< lay there without a flush for too long; more of it may follow
    threadEnd, ///< was left by a thread that ended
    removal    ///< was left when the tap was taken off
};

/// A record on its way out, as a sink sees it.
struct TappedRecord
{
    std::uint64_t number;  ///< from 1 and without gap, in the order of the stream
    std::string_view text; ///< just as its thread wrote it, the line end in front included; valid during the call
    RecordEnd end;
};

/// Takes each record ahead of the descriptor, under the tap's lock: one call at a time, in the order of the numbers. It
/// may neither fork nor wait for another thread that traces. What it writes to `std::cerr` is dropped and counted, and
/// so is an exception derived from `std::exception`.
using RecordSink = std::function<void(TappedRecord const &)>;

struct RecordTapOptions
{
    int descriptor = 2; ///< stays its owner's, and stays open until the tap is taken off
    std::vector<RecordSink> sinks{};
    std::size_t limitBytes = 65536; ///< a longer record goes out in pieces of this size; at least 1
    /// How long a full non-blocking descriptor is waited for, anew whenever it took something.
    std::chrono::milliseconds patience{100};
    /// How long a record may wait to be written together with others by a thread of the tap; 0: each is written at once,
    /// by its own thread.
    std::chrono::milliseconds batchPeriod{0};
    /// Of what waits so; as much again may be under way to the descriptor. At least a record of the limit.
    std::size_t batchBytes = std::size_t{4} * 1024 * 1024;
    /// After how long at the latest a sweep brings out what was left without a flush; 10 ms to a day. A thread that is
    /// held up for most of it in the midst of a record gets that cut in two.
    std::chrono::milliseconds restTime{100};
};

/// Why a record did not reach the descriptor, or only in part.
enum class Loss
{
    readerGone,    ///< pipe or socket without a reader
    noSpace,       ///< disk, quota or file size exhausted
    inputOutput,   ///< device error
    badDescriptor, ///< closed, or not for writing
    readerStalled, ///< non-blocking and still full after the patience; or no room among what waits to be written
    other
};
constexpr std::size_t kLossReasons = 6;

/// Counts since the installation. Once all is quiet, `records` is `written` and all of `lost` together; with batches
/// that is when the last one is out.
struct RecordTapAccount
{
    std::uint64_t records = 0;                      ///< records and pieces that went to the sinks and the descriptor
    std::uint64_t written = 0;                      ///< of these, how many the descriptor took whole
    std::array<std::uint64_t, kLossReasons> lost{}; ///< the others, by `Loss`
    std::uint64_t bytes = 0;                        ///< all that the descriptor took
    std::uint64_t oversized = 0;                    ///< records above the limit
    std::uint64_t sweeps = 0;                       ///< rests that the sweep brought out
    std::uint64_t lineEnds = 0;                     ///< line ends that the tap put in
    std::uint64_t sinkFailures = 0;                 ///< exceptions of sinks
    std::uint64_t droppedTexts = 0;                 ///< single insertions out of a sink, or without memory for them

    std::uint64_t lostFor(Loss reason) const { return lost[static_cast<std::size_t>(reason)]; }
    std::uint64_t lostAltogether() const { return std::accumulate(lost.begin(), lost.end(), std::uint64_t{0}); }
};

/// Stands behind `std::cerr` while it lives, and brings out the records of all threads whole and one after the other:
/// each by a single `write`, after it went to the sinks.
///
/// With batches, a record is with the sinks and in the memory of the tap when its flush returns. One thread, which looks
/// for it each period, writes what has gathered in pieces of about 64 KiB that end where a record ends. So no thread that
/// traces makes a system call for the stream or waits for its reader: an ordinary call costs the same whatever the stream
/// is. What waits is lost where the process dies, unless a sink has kept it. A reader that stalls lets the memory run
/// full; what finds no room is lost for the descriptor, and only for it. Where a piece fails, the records that went out
/// whole are written, and the others lost.
///
/// The records of this system begin with a line end and end with a flush. A thread's insertions gather in a buffer of
/// its own until that flush. What is left without one goes out at the thread's next flush, at its end, when the tap is
/// taken off, and otherwise by a sweep, `restTime` later at the latest. That cuts a record whose thread is held up for so
/// long in the midst of it; what follows then stands on a line of its own, if another record came between.
///
/// A flush behind nothing but line ends is put off, since lines that begin with `std::endl` and end without a flush
/// would fall apart by it. Such a line ends where the thread begins its next one, or by the sweep. Line ends alone
/// reach the descriptor, but count as no record.
///
/// No text is put at the end of somebody else's line: where one that does not begin with a line end comes behind a
/// record, or behind the unfinished line of another thread, the tap puts a line end ahead. What comes by other roads to
/// the same descriptor (`fprintf(stderr, …)`, `std::clog`) is not seen here, and is as whole as it was without the tap.
///
/// While it is installed, the stream has no unit buffering, and is not tied to `std::cout`: otherwise each insertion of
/// each thread would flush the standard output, and wait for its reader. Both are restored at the end.
///
/// Ownership  One in a process at a time. Install it before the first thread that writes to `std::cerr`, and take it
///            off after the last; a thread that does not write just then may be older or live longer. A buffer put on
///            top of it goes first. Setting it clears the error state of the stream, which it never sets itself.
/// Threads    Any number write at once. They meet in one lock, around sinks and `write`: a reader that stalls a
///            blocking descriptor holds all of them up. With batches it is around the sinks and a copy of the record, and
///            the reader holds up none but the removal, which waits until all is written or lost. `account` may be called at any time.
/// Real time  Not for a thread with a deadline. The real-time road of the library never comes here: its records are
///            written by the worker of the Handler. A thread's first insertion allocates its buffer.
/// Errors     A failed write is counted and forgotten; the next record is tried anew. SIGPIPE does not reach the
///            process: let the host ignore it; where it has its default action at the installation, the tap holds it
///            off around each write, at the price of more system calls.
/// Fork       The child writes to the same descriptor, with neither sinks, sweep nor batches and with a fresh account.
///            What was not flushed or not written at the fork is the parent's.
class RecordTap : private std::streambuf
{
public:
    /// @throws std::logic_error   where another one is installed
    /// @throws std::system_error  where the thread of the sweep cannot be started
    explicit RecordTap(RecordTapOptions options = {});
    RecordTap(RecordTap const &) = delete;
    RecordTap & operator=(RecordTap const &) = delete;
    ~RecordTap() override;

    RecordTapAccount account() const;

private:
    std::streamsize xsputn(char const * text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;

    static void startAfreshInChild();

    std::shared_ptr<TapCore> m_core;
    std::streambuf * m_previousBuffer = nullptr;
    std::ostream * m_previousTie = nullptr;
    bool m_hadUnitBuffering = false;
};

} // namespace common::log::host
