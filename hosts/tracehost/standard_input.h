#pragma once

#include "descriptor.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <system_error>

namespace tracehost {

/// Standard input, and a wait for it that another thread can end.
///
/// Threads  `wakeUp` any; all else one.
class StandardInput
{
public:
    /// @throws std::system_error
    StandardInput();
    StandardInput(StandardInput const &) = delete;
    StandardInput & operator=(StandardInput const &) = delete;
    ~StandardInput();

    /// Ends the wait of now or the next one.
    void wakeUp() const;

    /// @param isWanted  false waits for the wake-up alone
    /// @param limit     no value waits without bound
    /// @return whether a read would not wait: there is something, or the end
    bool wait(bool isWanted, std::optional<std::chrono::milliseconds> limit);

    /// @param bytes  how many were read; 0 at the end
    /// @return where to wait again, resource_unavailable_try_again
    std::error_code read(char * buffer, std::size_t size, std::size_t & bytes);

    /// What a pipe or a socket holds now; 0 of all else, which may have no end.
    std::size_t bytesOnTheirWay() const;

private:
    struct WakeUp;
    std::unique_ptr<WakeUp> m_wakeUp;
};

} // namespace tracehost
