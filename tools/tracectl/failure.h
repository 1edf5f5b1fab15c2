#pragma once

#include <stdexcept>
#include <string>

namespace tracectl {

/// What the program ends with.
enum class Status
{
    done = 0,
    refused = 1, ///< by the host, or its answer cannot be used
    wrongUse = 2,
    noHost = 3
};

/// Ends a command with one line for the error stream. Its text may hold bytes of any kind.
class Failure : public std::runtime_error
{
public:
    Failure(Status status, std::string const & text) : std::runtime_error(text), m_status(status) {}

    Status status() const { return m_status; }

private:
    Status m_status;
};

} // namespace tracectl
