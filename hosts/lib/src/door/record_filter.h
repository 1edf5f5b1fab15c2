#pragma once

#include "request.h"

#include <common/log/host/record_text.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace common::log::host {

/// Which records a client wants to see.
class RecordFilter
{
public:
    /// Takes `unit`, `severity` and `text` out of the parameters.
    ///
    /// @throws Refusal
    explicit RecordFilter(Parameters & parameters);

    bool passesAll() const;

    /// @param fields  of `record`; a line that is no record has neither unit nor severity, and is its own message
    bool passes(std::optional<RecordText> const & fields, std::string_view record) const;

private:
    std::optional<std::string> m_unit;
    std::string m_text;
    RecordSeverity m_least = RecordSeverity::message;
};

/// Where a client wants to begin.
struct RecordStart
{
    /// Takes `after` and `last` out of the parameters.
    ///
    /// @throws Refusal
    explicit RecordStart(Parameters & parameters);

    std::optional<std::uint64_t> after;
    std::optional<std::uint64_t> last;
};

} // namespace common::log::host
