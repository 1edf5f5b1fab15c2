#include "output_census.h"

#include <string_view>

namespace tracehost {

namespace {

/// The title is the fourth field of a record, and ends with the unit's name.
bool isOfLibrary(std::string_view record)
{
    for (int field = 0; field < 3; ++field) {
        auto const separator = record.find('|');
        if (separator == std::string_view::npos) {
            return false;
        }
        record.remove_prefix(separator + 1);
    }
    constexpr std::string_view kOwnTitle = " common.log.trace";
    std::string_view const title = record.substr(0, record.find('|'));
    return title.size() > kOwnTitle.size() && title.substr(title.size() - kOwnTitle.size()) == kOwnTitle;
}

} // namespace

void OutputCensus::see(common::log::host::TappedRecord const & record)
{
    using common::log::host::RecordEnd;
    // Of a record in several pieces, the first one bears the title, and the last one counts.
    if (isOfLibrary(record.text)) {
        m_ofLibrary.fetch_add(1, std::memory_order_relaxed);
    }
    if (record.end != RecordEnd::limit && record.end != RecordEnd::sweep) {
        m_all.fetch_add(1, std::memory_order_relaxed);
    }
}

} // namespace tracehost
