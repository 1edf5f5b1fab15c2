#pragma once

#include <chrono>

namespace tracectl {

/// Takes SIGINT, SIGTERM and SIGHUP for as long as it lives, so that a command that goes on until one of them comes ends
/// in order.
class Interruption
{
public:
    /// @throws std::system_error
    Interruption();
    Interruption(Interruption const &) = delete;
    Interruption & operator=(Interruption const &) = delete;
    ~Interruption();

    /// Readable once one has come.
    int descriptor() const { return m_descriptor; }

    /// Waits for one, at most this long.
    bool isAheadOf(std::chrono::milliseconds time) const;

private:
    int m_descriptor;
};

} // namespace tracectl
