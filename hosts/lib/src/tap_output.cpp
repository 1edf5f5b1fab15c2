#include "tap_output.h"

namespace common::log::host {

RecordTapAccount TapCounters::account() const
{
    auto const valueOf = [](Counter const & counter) { return counter.load(std::memory_order_relaxed); };
    RecordTapAccount account;
    account.records = valueOf(records);
    account.written = valueOf(written);
    for (std::size_t reason = 0; reason < kLossReasons; ++reason) {
        account.lost[reason] = valueOf(lost[reason]);
    }
    account.bytes = valueOf(bytes);
    account.oversized = valueOf(oversized);
    account.sweeps = valueOf(sweeps);
    account.lineEnds = valueOf(lineEnds);
    account.sinkFailures = valueOf(sinkFailures);
    account.droppedTexts = valueOf(droppedTexts);
    return account;
}

WriteOutcome TapOutput::write(std::string_view text)
{
    // Once one text has waited in vain, the following do not wait until the reader takes something again: else each
    // thread would stand here for the waits of all the others.
    auto const patience = m_isStalled ? std::chrono::milliseconds(0) : m_patience;
    WriteOutcome const outcome = writeWhole(m_descriptor, text, patience, m_holdsOffPipeSignal);
    m_isStalled = outcome.loss == Loss::readerStalled;
    TapCounters::count(m_counters.bytes, outcome.written);
    return outcome;
}

} // namespace common::log::host
