#include "support/process_state.h"

#include <windows.h>

#include <tlhelp32.h>

namespace common::log::test {

std::ptrdiff_t ProcessState::countThreads()
{
    HANDLE const snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 found = {};
    found.dwSize = sizeof found;
    std::ptrdiff_t count = 0;
    for (BOOL isThere = Thread32First(snapshot, &found); isThere != FALSE; isThere = Thread32Next(snapshot, &found)) {
        count += found.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    }
    CloseHandle(snapshot);
    return count;
}

std::ptrdiff_t ProcessState::countDescriptors()
{
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return static_cast<std::ptrdiff_t>(count);
}

std::ptrdiff_t ProcessState::countMappings()
{
    MEMORY_BASIC_INFORMATION region = {};
    std::ptrdiff_t count = 0;
    for (char const * address = nullptr; VirtualQuery(address, &region, sizeof region) == sizeof region;
         address = static_cast<char const *>(region.BaseAddress) + region.RegionSize) {
        count += region.State != MEM_FREE ? 1 : 0;
    }
    return count;
}

} // namespace common::log::test
