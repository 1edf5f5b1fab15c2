#pragma once

#include "command_line.h"
#include "record.h"

#include <memory>
#include <regex.h>
#include <string>

namespace tracectl {

/// Which records are wanted.
class RecordFilter
{
public:
    /// @throws Failure  Status::wrongUse for an expression that cannot be read
    explicit RecordFilter(Options const & options);

    bool isForAll() const { return !hasExpression() && m_query.empty(); }
    bool hasExpression() const { return m_expression != nullptr; }

    /// What the door can look at by itself, as parameters of a query, each with "&" ahead.
    std::string const & query() const { return m_query; }

    bool passes(Record const & record) const;

private:
    struct ExpressionEnd
    {
        void operator()(regex_t * expression) const;
    };

    std::string m_pattern;
    common::log::host::RecordSeverity m_severity;
    std::string m_query;
    std::unique_ptr<regex_t, ExpressionEnd> m_expression;
};

} // namespace tracectl
