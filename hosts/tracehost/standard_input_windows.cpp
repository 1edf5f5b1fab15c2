#include "standard_input.h"

#include <algorithm>

#include <windows.h>

namespace tracehost {

namespace {

/// Nothing tells when a pipe has something.
constexpr std::chrono::milliseconds kLookInterval(10);

HANDLE input() { return GetStdHandle(STD_INPUT_HANDLE); }

/// @return whether a read would not wait
bool isReadable()
{
    if (GetFileType(input()) != FILE_TYPE_PIPE) {
        return true; // a file, and a device, of which the null device is the only one that is read here
    }
    DWORD waiting = 0;
    return PeekNamedPipe(input(), nullptr, 0, nullptr, &waiting, nullptr) == FALSE || waiting > 0;
}

} // namespace

struct StandardInput::WakeUp
{
    HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
};

StandardInput::StandardInput() : m_wakeUp(std::make_unique<WakeUp>())
{
    if (m_wakeUp->event == nullptr) {
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "an event");
    }
}

StandardInput::~StandardInput() { CloseHandle(m_wakeUp->event); }

void StandardInput::wakeUp() const { SetEvent(m_wakeUp->event); }

bool StandardInput::wait(bool isWanted, std::optional<std::chrono::milliseconds> limit)
{
    if (!isWanted) {
        (void)WaitForSingleObject(m_wakeUp->event, limit ? static_cast<DWORD>(limit->count()) : INFINITE);
        return false;
    }
    auto const end = std::chrono::steady_clock::now() + limit.value_or(std::chrono::hours(1));
    while (!isReadable()) {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0 ||
            WaitForSingleObject(m_wakeUp->event, static_cast<DWORD>(std::min(left, kLookInterval).count())) ==
                WAIT_OBJECT_0) {
            return false;
        }
    }
    return true;
}

std::error_code StandardInput::read(char * buffer, std::size_t size, std::size_t & bytes)
{
    DWORD read = 0;
    bool const isRead = ReadFile(input(), buffer, static_cast<DWORD>(size), &read, nullptr) != FALSE;
    bytes = read;
    if (isRead || GetLastError() == ERROR_BROKEN_PIPE || GetLastError() == ERROR_HANDLE_EOF) {
        return {};
    }
    return {static_cast<int>(GetLastError()), std::system_category()};
}

std::size_t StandardInput::bytesOnTheirWay() const
{
    DWORD waiting = 0;
    bool const isPipe = GetFileType(input()) == FILE_TYPE_PIPE;
    return isPipe && PeekNamedPipe(input(), nullptr, 0, nullptr, &waiting, nullptr) != FALSE ? waiting : 0;
}

} // namespace tracehost
