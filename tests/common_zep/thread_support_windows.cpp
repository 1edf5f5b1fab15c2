#include "thread_support.h"

#include <windows.h>

#include <process.h>

namespace common_zep::test {

std::uint32_t const kDeletedFromAWait = ZEP_OK;
int const kShare = 10;

std::string nameOfThread()
{
    using GetDescription = HRESULT(WINAPI *)(HANDLE, PWSTR *);
    auto const getDescription = reinterpret_cast<GetDescription>(
        reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleA("kernel32.dll"), "GetThreadDescription")));
    PWSTR wide = nullptr;
    char name[64] = {};
    if (getDescription != nullptr && SUCCEEDED(getDescription(GetCurrentThread(), &wide))) {
        WideCharToMultiByte(CP_UTF8, 0, wide, -1, name, sizeof name, nullptr, nullptr);
        LocalFree(wide);
    }
    return name;
}

std::size_t stackSizeOfThread()
{
    ULONG_PTR low = 0;
    ULONG_PTR high = 0;
    GetCurrentThreadStackLimits(&low, &high);
    return high - low;
}

std::uint64_t coresOfThread()
{
    // The only way to ask is to set them.
    std::uint64_t const cores = SetThreadAffinityMask(GetCurrentThread(), coresOfProcess());
    SetThreadAffinityMask(GetCurrentThread(), cores);
    return cores;
}

std::uint64_t coresOfProcess()
{
    DWORD_PTR ofProcess = 0;
    DWORD_PTR ofSystem = 0;
    GetProcessAffinityMask(GetCurrentProcess(), &ofProcess, &ofSystem);
    return ofProcess;
}

void bindProcessTo(std::uint64_t cores) { SetProcessAffinityMask(GetCurrentProcess(), cores); }
void bindThreadTo(std::uint64_t cores) { SetThreadAffinityMask(GetCurrentThread(), cores); }

void endThread()
{
    _endthreadex(0);
    std::terminate();
}

} // namespace common_zep::test
