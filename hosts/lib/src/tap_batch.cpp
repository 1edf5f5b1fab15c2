#include "tap_batch.h"

#include <algorithm>
#include <new>
#include <utility>

namespace common::log::host {

namespace {

constexpr std::size_t kPieceBytes = 65536; // what a pipe holds
constexpr std::size_t kUsualBytes = 128;   // of a record, at least

} // namespace

TapBatch::TapBatch(RecordTapOptions const & options, std::mutex & outputMutex, TapCounters & counters)
    : m_limitBytes(std::max(options.batchBytes, options.limitBytes + 1)), m_outputMutex(outputMutex),
      m_counters(counters), m_output(options.descriptor, options.patience, isPipeSignalDeadly(), counters)
{
    for (Store * const store : {&m_gathered, &m_outgoing}) {
        store->text.reserve(m_limitBytes + 1); // here, and not while threads wait for the lock
        store->text = "\n";
        store->entries.reserve(m_limitBytes / kUsualBytes);
    }
    m_thread = std::make_unique<PeriodicThread>("RecordTapBatch", options.batchPeriod, [this] { exchangeAndWrite(); });
}

TapBatch::~TapBatch() { end(); }

WriteOutcome TapBatch::add(std::string_view text, bool isRecord, bool hasLineEndAhead)
{
    WriteOutcome outcome;
    if (m_gathered.text.size() - 1 + text.size() > m_limitBytes) {
        outcome.loss = Loss::readerStalled;
    } else {
        try {
            m_gathered.entries.push_back({m_gathered.text.size() + text.size(), isRecord, hasLineEndAhead});
            m_gathered.text.append(text); // has its memory
            outcome.written = text.size();
        } catch (std::bad_alloc const &) {
            outcome.loss = Loss::other;
        }
    }
    if (outcome.loss && isRecord) {
        m_counters.countLost(*outcome.loss);
    }
    return outcome;
}

void TapBatch::end()
{
    if (m_thread == nullptr) {
        return;
    }
    m_thread.reset();
    exchangeAndWrite();
}

void TapBatch::exchangeAndWrite()
{
    {
        std::lock_guard<std::mutex> const lock(m_outputMutex);
        std::swap(m_gathered, m_outgoing);
    }
    write(m_outgoing);
}

void TapBatch::write(Store & store)
{
    std::size_t first = 0;
    while (first < store.entries.size()) {
        std::size_t const limit = (first == 0 ? 1 : store.entries[first - 1].end) + kPieceBytes;
        std::size_t end = first + 1;
        while (end < store.entries.size() && store.entries[end].end <= limit) {
            ++end;
        }
        writePiece(store, first, end);
        first = end;
    }
    store.text.resize(1);
    store.entries.clear();
}

/// Counts each record by what became of it: of a piece that failed, those ahead of the failure are written.
void TapBatch::writePiece(Store & store, std::size_t firstEntry, std::size_t endEntry)
{
    std::size_t const begin = firstEntry == 0 ? 1 : store.entries[firstEntry - 1].end;
    std::size_t start = begin;
    bool const hasLineEndAhead = isTorn() && store.text[begin] != '\n';
    if (hasLineEndAhead) {
        store.text[--start] = '\n'; // over what was dealt with before
    }
    std::size_t const end = store.entries[endEntry - 1].end;
    WriteOutcome const outcome = m_output.write(std::string_view(store.text).substr(start, end - start));
    std::size_t const reached = start + outcome.written;

    std::uint64_t written = 0;
    std::uint64_t lost = 0;
    std::uint64_t lineEnds = hasLineEndAhead && reached > start ? 1 : 0;
    std::size_t entryBegin = begin;
    for (std::size_t index = firstEntry; index < endEntry; ++index) {
        Entry const & entry = store.entries[index];
        (entry.end <= reached ? written : lost) += entry.isRecord ? 1 : 0;
        lineEnds += entry.hasLineEndAhead && entryBegin < reached ? 1 : 0;
        entryBegin = entry.end;
    }
    TapCounters::count(m_counters.lineEnds, lineEnds);
    if (outcome.loss) {
        m_counters.countLost(*outcome.loss, lost);
    }
    m_isTorn = outcome.loss.has_value();
    m_lastCharacter = reached > start ? store.text[reached - 1] : m_lastCharacter;
    TapCounters::count(m_counters.written, written);
}

} // namespace common::log::host
