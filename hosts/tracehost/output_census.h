#pragma once

#include <common/log/host/record_tap.h>

#include <atomic>
#include <cstdint>

namespace tracehost {

/// Counts the records that reach the error stream, those of the library about itself apart, so that they can be held
/// against the calls of the program's own units.
///
/// Threads  `see` is a sink of the tap, which calls it once at a time; the counts may be read by any thread.
class OutputCensus
{
public:
    void see(common::log::host::TappedRecord const & record);

    /// Of the units of this program.
    std::uint64_t ofUnits() const { return all() - ofLibrary(); }
    /// Of the library about itself.
    std::uint64_t ofLibrary() const { return m_ofLibrary.load(std::memory_order_relaxed); }

private:
    std::uint64_t all() const { return m_all.load(std::memory_order_relaxed); }

    std::atomic<std::uint64_t> m_all{0};
    std::atomic<std::uint64_t> m_ofLibrary{0};
};

} // namespace tracehost
