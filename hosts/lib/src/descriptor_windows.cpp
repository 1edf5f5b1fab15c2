#include "descriptor.h"

#include <algorithm>
#include <thread>

#include <io.h>
#include <windows.h>

namespace common::log::host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostAtOnce = std::size_t{1} << 30; // a size has 32 bits here
constexpr std::chrono::milliseconds kPause(1);

Loss lossOf(DWORD error)
{
    switch (error) {
    case ERROR_BROKEN_PIPE:
    case ERROR_NO_DATA:
    case ERROR_PIPE_NOT_CONNECTED:
        return Loss::readerGone;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
        return Loss::noSpace;
    case ERROR_WRITE_FAULT:
    case ERROR_IO_DEVICE:
    case ERROR_CRC:
        return Loss::inputOutput;
    case ERROR_INVALID_HANDLE:
    case ERROR_ACCESS_DENIED: // open, but not for writing
        return Loss::badDescriptor;
    default:
        return Loss::other;
    }
}

} // namespace

// Beside the runtime, which puts a carriage return ahead of each line end of a descriptor in text mode: a record has the
// same bytes on every system.
WriteOutcome writeWhole(int descriptor, std::string_view text, std::chrono::milliseconds patience,
                        bool /*holdsOffPipeSignal*/)
{
    auto const file = reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
    WriteOutcome outcome;
    std::optional<Clock::time_point> limit;
    while (outcome.written < text.size()) {
        auto const size = static_cast<DWORD>(std::min(text.size() - outcome.written, kMostAtOnce));
        DWORD written = 0;
        if (WriteFile(file, text.data() + outcome.written, size, &written, nullptr) == FALSE) {
            outcome.loss = lossOf(GetLastError());
            return outcome;
        }
        outcome.written += written;
        if (written > 0) {
            limit.reset();
            continue;
        }
        // A pipe that does not wait is full. Nothing tells when it takes something again.
        if (!limit) {
            limit = Clock::now() + patience;
        }
        if (Clock::now() >= *limit) {
            outcome.loss = Loss::readerStalled;
            return outcome;
        }
        std::this_thread::sleep_for(kPause);
    }
    return outcome;
}

bool isPipeSignalDeadly() { return false; } // there is none

} // namespace common::log::host
