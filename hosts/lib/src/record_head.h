#pragma once

#include <common/log/host/record_text.h>

#include <cstddef>
#include <optional>
#include <string_view>

namespace common::log::host {

/// What a record begins with, up to the place where the unit's name stands for the first time.
struct RecordHead
{
    std::string_view time;
    std::string_view code;
    RecordSeverity severity = RecordSeverity::message;
    std::string_view title; ///< with all that stands behind it
    std::string_view name;  ///< of the unit, with all that stands behind it
};

/// Stands between title and component, around two empty fields.
constexpr std::string_view kBehindTitle = "|||";

constexpr std::size_t kLongestUnitName = 63; // what a unit keeps of its name

/// @param record  with or without line ends in front; may be cut where the unit's name begins or behind that
std::optional<RecordHead> parseRecordHead(std::string_view record);

} // namespace common::log::host
