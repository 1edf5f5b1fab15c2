#include "record_filter.h"

#include "answer.h"

#include <common/log/host/name_pattern.h>

#include <limits>

namespace common::log::host {

namespace {

constexpr std::uint64_t kMostOfLast = 100'000;

RecordSeverity readSeverity(std::string const & letter)
{
    if (letter == "m") {
        return RecordSeverity::message;
    }
    if (letter == "w") {
        return RecordSeverity::warning;
    }
    if (letter == "e") {
        return RecordSeverity::error;
    }
    throw Refusal(400, "bad_request", "severity takes one of the letters m, w and e.", letter);
}

} // namespace

RecordFilter::RecordFilter(Parameters & parameters)
    : m_unit(parameters.text("unit")), m_text(parameters.text("text").value_or("")),
      m_least(readSeverity(parameters.text("severity").value_or("m")))
{}

bool RecordFilter::passesAll() const { return !m_unit && m_text.empty() && m_least == RecordSeverity::message; }

bool RecordFilter::passes(std::optional<RecordText> const & fields, std::string_view record) const
{
    if (!fields && (m_unit || m_least != RecordSeverity::message)) {
        return false;
    }
    if (fields && (fields->severity < m_least || (m_unit && !matchesPattern(*m_unit, fields->unit)))) {
        return false;
    }
    return m_text.empty() || (fields ? fields->message : record).find(m_text) != std::string_view::npos;
}

RecordStart::RecordStart(Parameters & parameters)
    : after(parameters.number("after", 0, std::numeric_limits<std::uint64_t>::max())),
      last(parameters.number("last", 0, kMostOfLast))
{
    if (after && last) {
        throw Refusal(400, "bad_request", "Either after or last can be asked for.", "both");
    }
}

} // namespace common::log::host
