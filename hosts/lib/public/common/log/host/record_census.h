#pragma once

#include <common/log/host/record_tap.h>
#include <common/log/host/record_text.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace common::log::host {

/// How many records a unit has brought to the stream.
struct RecordCounts
{
    std::uint64_t messages = 0;
    std::uint64_t warnings = 0;
    std::uint64_t errors = 0;

    std::uint64_t altogether() const { return messages + warnings + errors; }
};

/// Counts the records of each unit by severity, as a sink of the tap. A record in several pieces counts once. What is no
/// record counts under the empty name, as messages. Above 10,000 names the further ones count there too.
///
/// Threads    `see` one call at a time, which is what the tap does; the rest at any time.
class RecordCensus
{
public:
    RecordCensus();
    RecordCensus(RecordCensus const &) = delete;
    RecordCensus & operator=(RecordCensus const &) = delete;
    ~RecordCensus();

    void see(TappedRecord const & record);

    RecordCounts of(std::string const & unit) const;
    std::map<std::string, RecordCounts> all() const;
    RecordCounts sum() const;

private:
    struct Tables;
    std::unique_ptr<Tables> m_tables;
};

} // namespace common::log::host
