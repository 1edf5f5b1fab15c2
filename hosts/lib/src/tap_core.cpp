#include "tap_core.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <new>
#include <utility>

namespace common::log::host {

namespace {

// A text goes out in the third pass that sees it, which is between 60 and 90 hundredths of the time of rests after its
// first insertion. A shorter time would more often cut a record whose thread was only preempted.
constexpr unsigned kSweepPasses = 3;
constexpr std::chrono::milliseconds kShortestRestTime{10};
constexpr std::chrono::milliseconds kLongestRestTime = std::chrono::hours(24);

std::chrono::milliseconds sweepPeriod(RecordTapOptions const & options) { return options.restTime / 10 * 3; }

// Owners of the last line beside the threads, which count from 1.
constexpr std::uint64_t kAnybody = ~std::uint64_t{0}; // the line has its end
constexpr std::uint64_t kNobody = 0;                  // it is a record, to which nothing belongs any more

std::uint64_t nextId()
{
    static std::atomic<std::uint64_t> lastId{0};
    return ++lastId;
}

bool isBlank(std::string_view text) { return text.find_first_not_of('\n') == std::string_view::npos; }

RecordTapOptions corrected(RecordTapOptions options)
{
    // What is above has no room in memory anyway, but could overflow in sums.
    options.limitBytes = std::clamp<std::size_t>(options.limitBytes, 1, std::numeric_limits<std::size_t>::max() / 4);
    options.restTime = std::clamp(options.restTime, kShortestRestTime, kLongestRestTime);
    return options;
}

} // namespace

/// The lock of the output for a thread with its own text. The sweep leaves that alone meanwhile: it would take a record
/// for cut whose flush only waits behind others.
class TapCore::OwnersLock
{
public:
    OwnersLock(TapCore & core, ThreadText & thread) : m_thread(thread), m_lock(core.m_outputMutex, std::defer_lock)
    {
        // Relaxed, as in the sweep: seen late, the sweep has come a moment ahead of the thread.
        m_thread.isAwaitingLock.store(true, std::memory_order_relaxed);
        m_lock.lock();
    }
    OwnersLock(OwnersLock const &) = delete;
    OwnersLock & operator=(OwnersLock const &) = delete;
    ~OwnersLock() { m_thread.isAwaitingLock.store(false, std::memory_order_relaxed); }

private:
    ThreadText & m_thread;
    std::unique_lock<std::mutex> m_lock;
};

TapCore::TapCore(RecordTapOptions options, Process process)
    : m_id(nextId()), m_options(corrected(std::move(options))), m_leftovers(addThread()), m_lineOwner(kAnybody),
      m_output(m_options.descriptor, m_options.patience, isPipeSignalDeadly(), m_counters)
{
    t_isInSink = false; // a sink forked, in spite of its contract
    if (process == Process::forkedChild) {
        return;
    }
    if (m_options.batchPeriod.count() > 0) {
        m_batch = std::make_unique<TapBatch>(m_options, m_outputMutex, m_counters);
    }
    m_sweeper = std::make_unique<PeriodicThread>("RecordTap", sweepPeriod(m_options), [this] { sweep(); });
}

TapCore::~TapCore() { m_sweeper.reset(); }

std::shared_ptr<ThreadText> TapCore::addThread()
{
    std::lock_guard<std::mutex> const lock(m_threadsMutex);
    m_threads.push_back(std::make_shared<ThreadText>(++m_lastThread, m_options.limitBytes));
    return m_threads.back();
}

void TapCore::removeThread(std::shared_ptr<ThreadText> const & thread)
{
    {
        std::lock_guard<std::mutex> const lock(m_outputMutex);
        putOut(*thread, RecordEnd::threadEnd);
    }
    std::lock_guard<std::mutex> const lock(m_threadsMutex);
    m_threads.erase(std::remove(m_threads.begin(), m_threads.end(), thread), m_threads.end());
}

void TapCore::append(ThreadText & thread, std::string_view text)
{
    OwnersLock const lock(*this, thread);
    if (!text.empty() && text.front() == '\n') {
        std::string_view const seen = thread.view();
        if (thread.isFlushOwed && !isBlank(seen)) {
            putOut(thread, RecordEnd::nextLine);
        }
        if (thread.view().empty()) {
            thread.clear();
            thread.isFlushOwed = false;
            thread.isContinued = false;
        }
    }
    try {
        while (!text.empty()) {
            if (thread.view().size() >= m_options.limitBytes) {
                putOut(thread, RecordEnd::limit);
            }
            text.remove_prefix(thread.append(text));
        }
    } catch (std::bad_alloc const &) {
        countDroppedText(); // let through, it would switch the stream off for good
    }
}

void TapCore::flush(ThreadText & thread)
{
    if (thread.isUntouched()) {
        return;
    }
    OwnersLock const lock(*this, thread);
    std::string_view const seen = thread.view();
    if (!seen.empty() && isBlank(seen)) {
        thread.isFlushOwed = true;
        return;
    }
    putOut(thread, RecordEnd::flush);
}

/// With the lock of the output held. Leaves nothing of what the thread has written so far, whatever became of it.
void TapCore::putOut(ThreadText & thread, RecordEnd end)
{
    std::string_view const seen = thread.view();
    if (seen.empty()) {
        return;
    }
    if (!thread.isContinued) {
        thread.beganWithLineEnd = seen.front() == '\n';
        if (end == RecordEnd::limit) {
            TapCounters::count(m_counters.oversized);
        }
    }
    if (!isBlank(seen)) {
        handOver(seen, end);
    }
    writeOut(thread, seen, end);
    if (end == RecordEnd::sweep || end == RecordEnd::removal) {
        thread.dropSeen(seen.size()); // the thread may be writing just now
    } else {
        thread.clear();
    }
    thread.passes = 0;
    thread.isContinued = end == RecordEnd::limit || end == RecordEnd::sweep;
    // What the sweep brings out of a line whose flush was put off may be its beginning only.
    thread.isFlushOwed = thread.isFlushOwed && thread.isContinued;
}

void TapCore::handOver(std::string_view record, RecordEnd end)
{
    TappedRecord const tapped{++m_lastRecord, record, end};
    m_counters.records.store(m_lastRecord, std::memory_order_relaxed); // nobody else counts these
    t_isInSink = true;
    std::uint64_t const coreId = std::exchange(t_place.coreId, 0); // so that an insertion needs one look for both
    for (RecordSink const & sink : m_options.sinks) {
        try {
            sink(tapped);
        } catch (std::exception const &) {
            TapCounters::count(m_counters.sinkFailures);
        }
    }
    t_place.coreId = coreId;
    t_isInSink = false;
}

WriteOutcome TapCore::writeNow(std::string_view text, bool isRecord, bool hasLineEndAhead)
{
    WriteOutcome const outcome = m_output.write(text);
    if (hasLineEndAhead && outcome.written > 0) {
        TapCounters::count(m_counters.lineEnds);
    }
    if (isRecord && outcome.loss) {
        m_counters.countLost(*outcome.loss);
    } else if (isRecord) {
        TapCounters::count(m_counters.written);
    }
    return outcome;
}

void TapCore::writeOut(ThreadText & thread, std::string_view seen, RecordEnd end)
{
    bool const isRecord = !isBlank(seen);
    bool const hasLineEndAhead = seen.front() != '\n' && m_lineOwner != kAnybody && m_lineOwner != thread.number;
    std::string_view const text = hasLineEndAhead ? thread.withLineEnd(seen) : seen;
    WriteOutcome const outcome =
        m_batch != nullptr ? m_batch->add(text, isRecord, hasLineEndAhead) : writeNow(text, isRecord, hasLineEndAhead);
    if (outcome.written == 0) {
        return;
    }
    if (text[outcome.written - 1] == '\n') {
        m_lineOwner = kAnybody;
    } else if (outcome.loss || (end == RecordEnd::flush && thread.beganWithLineEnd)) {
        m_lineOwner = kNobody;
    } else {
        m_lineOwner = thread.number;
    }
}

std::vector<std::shared_ptr<ThreadText>> TapCore::threads()
{
    std::lock_guard<std::mutex> const lock(m_threadsMutex);
    return m_threads;
}

void TapCore::sweep()
try {
    for (std::shared_ptr<ThreadText> const & thread : threads()) {
        if (thread->isUntouched()) {
            continue;
        }
        std::lock_guard<std::mutex> const lock(m_outputMutex);
        if (!thread->isAwaitingLock.load(std::memory_order_relaxed) && !thread->view().empty() &&
            ++thread->passes >= kSweepPasses) {
            TapCounters::count(m_counters.sweeps);
            putOut(*thread, RecordEnd::sweep);
        }
    }
} catch (std::bad_alloc const &) {
    // No memory for the list: the next pass tries again.
}

/// What comes behind it is written at once.
void TapCore::endBatches()
{
    if (m_batch == nullptr) {
        return;
    }
    m_batch->end();
    std::lock_guard<std::mutex> const lock(m_outputMutex);
    m_batch->writeLast();
    if (m_batch->isTorn()) {
        m_lineOwner = kNobody;
    }
    m_batch.reset();
}

void TapCore::close()
{
    m_sweeper.reset();
    endBatches();
    std::vector<std::shared_ptr<ThreadText>> last;
    {
        std::lock_guard<std::mutex> const lock(m_threadsMutex);
        last.swap(m_threads); // a copy could fail
    }
    for (std::shared_ptr<ThreadText> const & thread : last) {
        std::lock_guard<std::mutex> const lock(m_outputMutex);
        putOut(*thread, RecordEnd::removal);
    }
}

} // namespace common::log::host
