#pragma once

#include "periodic_thread.h"
#include "tap_output.h"

#include <common/log/host/record_tap.h>

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace common::log::host {

/// Records on their way to the descriptor: gathered in memory, which is all that a tracing thread does, and written by a
/// thread of its own.
///
/// There are two stores of the same size. What comes goes into one while the other one is written; the thread exchanges
/// them under the lock of the tap's output, which it holds for nothing else.
class TapBatch
{
public:
    /// @param outputMutex  that of the tap, which is held wherever `add` is called
    /// @throws std::system_error  where the thread cannot be started
    TapBatch(RecordTapOptions const & options, std::mutex & outputMutex, TapCounters & counters);
    TapBatch(TapBatch const &) = delete;
    TapBatch & operator=(TapBatch const &) = delete;
    ~TapBatch();

    /// Puts a text behind the others. One that finds no room is lost, and counted if it is a record.
    ///
    /// @return what the descriptor would have answered, as far as one knows
    WriteOutcome add(std::string_view text, bool isRecord, bool hasLineEndAhead);

    /// Ends the thread and writes what is left, apart from what comes meanwhile.
    void end();
    /// With the lock held, behind the end of the thread.
    void writeLast() { write(m_gathered); }

    /// Whether the last line of the descriptor is another one than was added last. With the lock held, as above.
    bool isTorn() const { return m_isTorn && m_lastCharacter != '\n'; }

private:
    struct Entry
    {
        std::size_t end; ///< of its text in the store
        bool isRecord;
        bool hasLineEndAhead;
    };
    struct Store
    {
        std::string text; ///< the first byte is room for a line end
        std::vector<Entry> entries;
    };

    void exchangeAndWrite();
    void write(Store & store);
    void writePiece(Store & store, std::size_t firstEntry, std::size_t endEntry);

    std::size_t const m_limitBytes;
    std::mutex & m_outputMutex;
    TapCounters & m_counters;
    Store m_gathered; ///< guarded by that mutex
    Store m_outgoing;
    TapOutput m_output;
    bool m_isTorn = false; ///< something was lost, and nothing written since
    char m_lastCharacter = '\n';
    std::unique_ptr<PeriodicThread> m_thread;
};

} // namespace common::log::host
