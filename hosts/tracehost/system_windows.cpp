#include "system.h"

#include <common/log/host/environment.h>

#include <algorithm>
#include <array>

#include <io.h>
#include <windows.h>

namespace tracehost {

namespace fs = std::filesystem;

namespace {

HANDLE handleOf(int descriptor) { return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)); }

} // namespace

bool isTerminal(int descriptor)
{
    DWORD mode = 0; // of a console, and of nothing else; the null device counts as a character device, too
    return GetConsoleMode(handleOf(descriptor), &mode) != FALSE;
}

bool isSameFile(int left, int right)
{
    if (isTerminal(left) || GetFileType(handleOf(left)) != FILE_TYPE_DISK) {
        return isTerminal(left) && isTerminal(right); // there is one console, and of pipes nobody can tell
    }
    BY_HANDLE_FILE_INFORMATION first{};
    BY_HANDLE_FILE_INFORMATION second{};
    return GetFileInformationByHandle(handleOf(left), &first) != FALSE &&
           GetFileInformationByHandle(handleOf(right), &second) != FALSE &&
           first.dwVolumeSerialNumber == second.dwVolumeSerialNumber && first.nFileIndexHigh == second.nFileIndexHigh &&
           first.nFileIndexLow == second.nFileIndexLow;
}

std::string hindranceOfFollowing(std::string const & /*path*/) { return "cannot be followed on this system"; }

bool hasRingAndDoor() { return false; }

fs::path programFile()
{
    std::array<wchar_t, 32'768> path{}; // the longest that there is
    DWORD const size = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return {path.data(), path.data() + size};
}

fs::path stateFolder()
{
    fs::path const folder = common::log::host::pathFromEnvironment("LOCALAPPDATA");
    return folder.empty() ? fs::path("C:\\ProgramData") : folder;
}

std::uint32_t userId() { return 0; }

std::chrono::nanoseconds monotonicTime() { return std::chrono::steady_clock::now().time_since_epoch(); }

void sleepUntilMonotonicTime(std::chrono::nanoseconds time)
{
    // Only a timer that is asked to keeps to less than the 15 ms of the system's tick. Systems that do not know it refuse.
    constexpr DWORD kHighResolution = 2;
    struct Timer
    {
        HANDLE handle = CreateWaitableTimerExW(nullptr, nullptr, kHighResolution, TIMER_ALL_ACCESS);
        Timer() = default;
        Timer(Timer const &) = delete;
        Timer & operator=(Timer const &) = delete;
        ~Timer()
        {
            if (handle != nullptr) {
                CloseHandle(handle);
            }
        }
    };
    static Timer const timer; // of the one thread that has a cycle
    auto const left = std::max(time - monotonicTime(), std::chrono::nanoseconds(0));
    LARGE_INTEGER due{};
    due.QuadPart = -left.count() / 100; // from now on, in the system's units
    if (timer.handle != nullptr && SetWaitableTimer(timer.handle, &due, 0, nullptr, nullptr, FALSE) != FALSE) {
        (void)WaitForSingleObject(timer.handle, INFINITE);
    } else {
        Sleep(static_cast<DWORD>(left.count() / 1'000'000));
    }
}

} // namespace tracehost
