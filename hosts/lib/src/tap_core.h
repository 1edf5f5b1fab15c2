#pragma once

#include "periodic_thread.h"
#include "tap_batch.h"
#include "tap_output.h"
#include "thread_text.h"

#include <common/log/host/record_tap.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace common::log::host {

/// This thread's place in a core. Without constructor and destructor, so that an insertion reads it directly, and also
/// behind the end of the thread's other objects.
struct ThreadPlace
{
    std::uint64_t coreId; ///< 0 for none, and inside a sink
    ThreadText * text;
    bool hasEnded;
};
inline thread_local ThreadPlace t_place = {0, nullptr, false};

/// The tap without its stream: gathers, numbers, hands to the sinks, writes, counts.
///
/// Locks: that of the output keeps number, sinks and place in the stream together, and guards the texts of the threads.
/// The list of threads has one of its own, under which no other is taken. A thread that inserts takes neither, up to the
/// flush. With batches nobody writes to the descriptor under a lock, before the tap is taken off.
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

    /// The buffer for what comes from threads behind the end of their thread-local objects. No `appendQuickly` there.
    ThreadText & leftovers() { return *m_leftovers; }

    /// What `appendQuickly` did not do.
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
    static bool isInSink() { return t_isInSink; }

private:
    static inline thread_local bool t_isInSink = false;

    class OwnersLock;

    void putOut(ThreadText & thread, RecordEnd end);
    void handOver(std::string_view record, RecordEnd end);
    void writeOut(ThreadText & thread, std::string_view seen, RecordEnd end);
    WriteOutcome writeNow(std::string_view text, bool isRecord, bool hasLineEndAhead);

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
