#include <common/log/host/record_census.h>

#include "record_head.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <deque>
#include <mutex>
#include <string_view>
#include <unordered_map>

namespace common::log::host {

namespace {

constexpr std::size_t kMostNames = 10'000;

using Counter = std::atomic<std::uint64_t>;

std::uint64_t valueOf(Counter const & counter) { return counter.load(std::memory_order_relaxed); }

/// For the one thread that counts: without the locked instruction of an addition by several.
void count(Counter & counter) { counter.store(valueOf(counter) + 1, std::memory_order_relaxed); }

struct Unit
{
    explicit Unit(std::string_view unitName) : name(unitName) {}

    RecordCounts counts() const { return {valueOf(bySeverity[0]), valueOf(bySeverity[1]), valueOf(bySeverity[2])}; }

    std::string const name;
    std::array<Counter, 3> bySeverity{};
};

void add(RecordCounts & sum, RecordCounts const & counts)
{
    sum.messages += counts.messages;
    sum.warnings += counts.warnings;
    sum.errors += counts.errors;
}

} // namespace

/// Only `see` changes the units, and so reads them without the mutex. It takes that to add one, and all others take it to
/// read them.
struct RecordCensus::Tables
{
    Tables() { byName.emplace("", &units.emplace_back("")); }

    Unit & unitOf(std::string_view name)
    {
        auto const known = byName.find(name);
        if (known != byName.end()) {
            return *known->second;
        }
        if (byName.size() > kMostNames) {
            return units.front();
        }
        std::lock_guard<std::mutex> const lock(mutex);
        Unit & unit = units.emplace_back(name);
        byName.emplace(unit.name, &unit);
        return unit;
    }

    /// With the mutex held: what came to its end without a head. The head of a record counts ahead of its end.
    RecordCounts ofNameless() const
    {
        RecordCounts counts = units.front().counts();
        std::uint64_t const allEnds = valueOf(ends);
        counts.messages += allEnds - std::min(allEnds, valueOf(heads));
        return counts;
    }

    mutable std::mutex mutex;
    std::deque<Unit> units; ///< the first one without a name, for what has no place among the others
    std::unordered_map<std::string_view, Unit *> byName;
    Counter heads{0}; ///< first pieces of records
    Counter ends{0};  ///< last pieces of anything
};

RecordCensus::RecordCensus() : m_tables(std::make_unique<Tables>()) {}

RecordCensus::~RecordCensus() = default;

void RecordCensus::see(TappedRecord const & record)
{
    // Of a record in several pieces, the first one names the unit, and only the last one tells that it is the last.
    if (auto const head = parseRecordHead(record.text)) {
        auto const end = head->name.find(kBehindTitle);
        if (end <= kLongestUnitName) {
            Unit & unit = m_tables->unitOf(head->name.substr(0, end));
            count(unit.bySeverity.at(static_cast<std::size_t>(head->severity)));
            count(m_tables->heads);
        }
    }
    if (record.end != RecordEnd::limit && record.end != RecordEnd::sweep) {
        count(m_tables->ends);
    }
}

RecordCounts RecordCensus::of(std::string const & unit) const
{
    std::lock_guard<std::mutex> const lock(m_tables->mutex);
    if (unit.empty()) {
        return m_tables->ofNameless();
    }
    auto const known = m_tables->byName.find(unit);
    return known == m_tables->byName.end() ? RecordCounts{} : known->second->counts();
}

std::map<std::string, RecordCounts> RecordCensus::all() const
{
    std::map<std::string, RecordCounts> counts;
    std::lock_guard<std::mutex> const lock(m_tables->mutex);
    for (Unit const & unit : m_tables->units) {
        counts.emplace(unit.name, unit.counts());
    }
    RecordCounts const nameless = m_tables->ofNameless();
    if (nameless.altogether() == 0) {
        counts.erase("");
    } else {
        counts[""] = nameless;
    }
    return counts;
}

RecordCounts RecordCensus::sum() const
{
    RecordCounts sum;
    for (auto const & [name, counts] : all()) {
        add(sum, counts);
    }
    return sum;
}

} // namespace common::log::host
