#include "record_filter.h"

#include "door_client.h"
#include "record_format.h"

#include <common/log/host/name_pattern.h>

#include <array>

namespace tracectl {

using common::log::host::nameOf;
using common::log::host::RecordSeverity;

void RecordFilter::ExpressionEnd::operator()(regex_t * expression) const
{
    ::regfree(expression);
    delete expression;
}

RecordFilter::RecordFilter(Options const & options) : m_pattern(options.pattern), m_severity(options.severity)
{
    if (!m_pattern.empty()) {
        m_query += "&unit=" + percentEncoded(m_pattern);
    }
    if (m_severity != RecordSeverity::message) {
        m_query += std::string("&severity=") + *nameOf(m_severity);
    }
    if (options.expression.empty()) {
        return;
    }
    auto expression = std::make_unique<regex_t>();
    int const failure = ::regcomp(expression.get(), options.expression.c_str(), REG_EXTENDED | REG_NOSUB);
    if (failure != 0) {
        std::array<char, 200> text{};
        (void)::regerror(failure, expression.get(), text.data(), text.size());
        throw Failure(Status::wrongUse, "--grep: '" + common::log::host::printable(options.expression) +
                                            "' is no regular expression: " + text.data());
    }
    m_expression.reset(expression.release());
}

bool RecordFilter::passes(Record const & record) const
{
    if (!record.isRecord && !m_query.empty()) {
        return false; // has neither unit nor severity
    }
    return record.severity >= m_severity &&
           (m_pattern.empty() || common::log::host::matchesPattern(m_pattern, record.unit)) &&
           (m_expression == nullptr || ::regexec(m_expression.get(), plainLine(record).c_str(), 0, nullptr, 0) == 0);
}

} // namespace tracectl
