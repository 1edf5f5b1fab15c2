#pragma once

#include "periodic_thread.h"
#include "tap_batch.h"
#include "tap_output.h"

#include <common/log/host/record_tap.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace common::log::host {

/// What one thread has written and not brought out yet.
///
/// The fields are guarded by the mutex, which only the sweep, the removal and the thread itself take: a thread that
/// inserts finds it free.
struct ThreadText
{
    explicit ThreadText(std::uint64_t threadNumber) : number(threadNumber) {}

    std::string_view view() const { return std::string_view(buffer).substr(1); }
    bool isEmpty() const { return buffer.size() == 1; }

    std::uint64_t const number; ///< of all threads of a tap, from 1
    std::mutex mutex;
    std::string buffer = "\n";     ///< its first byte is room for the line end that a record may need ahead
    bool isFlushOwed = false;      ///< there was a flush behind nothing but line ends
    bool isContinued = false;      ///< a piece of the record went out already
    bool beganWithLineEnd = false; ///< the record did, with its first piece
    unsigned passes = 0;           ///< passes of the sweep that have seen this text
};

/// The tap without its stream: gathers, numbers, hands to the sinks, writes, counts.
///
/// Locks, in this order: a thread's text; the output. The list of threads has one of its own, under which no other is
/// taken. The output's lock keeps number, sinks and place in the stream together. With batches nobody writes to the
/// descriptor under it, before the tap is taken off.
class TapCore
{
public:
    enum class Process
    {
        host,
        forkedChild ///< no sinks: what lies behind them may be shared with the parent; no sweep
    };

    TapCore(RecordTapOptions options, Process process);
    TapCore(TapCore const &) = delete;
    TapCore & operator=(TapCore const &) = delete;
    ~TapCore();

    /// Differs between all cores of a process, where the address of a gone one may come again.
    std::uint64_t id() const { return m_id; }
    RecordTapOptions const & options() const { return m_options; }

    std::shared_ptr<ThreadText> addThread();
    void removeThread(std::shared_ptr<ThreadText> const & thread);

    /// The buffer for what comes from a thread behind the end of its thread-local objects.
    ThreadText & leftovers() { return *m_leftovers; }

    void append(ThreadText & thread, std::string_view text);
    void flush(ThreadText & thread);

    /// Ends the sweep and brings out what is left.
    void close();

    /// In a forked child, for the parent's core: its locks may be held by threads that do not exist there.
    void abandon() { m_isAbandoned.store(true); }
    bool isAbandoned() const { return m_isAbandoned.load(); }

    void countDroppedText() { TapCounters::count(m_counters.droppedTexts); }
    RecordTapAccount account() const { return m_counters.account(); }

    /// Whether this thread is inside a sink, and so under the locks.
    static bool isInSink();

private:
    void putOut(ThreadText & thread, RecordEnd end);
    void handOver(std::string_view record, RecordEnd end);
    void writeOut(ThreadText & thread, RecordEnd end);
    WriteOutcome writeNow(std::string_view text, bool isRecord, bool hasLineEndAhead);
    bool needsLineEndAhead(ThreadText const & thread) const;

    std::vector<std::shared_ptr<ThreadText>> threads();
    void sweep();
    void endBatches();

    std::uint64_t const m_id;
    RecordTapOptions const m_options;
    std::atomic<bool> m_isAbandoned{false};
    TapCounters m_counters;

    std::mutex m_threadsMutex;
    std::vector<std::shared_ptr<ThreadText>> m_threads;
    std::uint64_t m_lastThread = 0;
    std::shared_ptr<ThreadText> const m_leftovers;

    std::mutex m_outputMutex;
    std::uint64_t m_lastRecord = 0;
    std::uint64_t m_lineOwner; ///< the thread that may go on with the last line of the descriptor
    TapOutput m_output;        ///< not used as long as there are batches
    std::unique_ptr<TapBatch> m_batch;

    std::unique_ptr<PeriodicThread> m_sweeper;
};

} // namespace common::log::host
