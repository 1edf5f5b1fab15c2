#include "privileges.h"

#include <system_error>

#include <pthread.h>
#include <windows.h>

namespace tracehost {

std::string acquirePrivileges(std::thread::native_handle_type thread, Privileges const & privileges)
{
    std::string refusals;
    auto const addRefusal = [&refusals](std::string const & what) {
        refusals += (refusals.empty() ? "" : ", ") + what + " (" +
                    std::system_category().message(static_cast<int>(GetLastError())) + ")";
    };
    HANDLE const handle = pthread_gethandle(thread);
    if (privileges.priority > 0 && SetThreadPriority(handle, THREAD_PRIORITY_TIME_CRITICAL) == FALSE) {
        addRefusal("real-time priority " + std::to_string(privileges.priority));
    }
    if (privileges.cpu && SetThreadAffinityMask(handle, DWORD_PTR{1} << *privileges.cpu) == 0) {
        addRefusal("cpu " + std::to_string(*privileges.cpu));
    }
    return refusals;
}

bool isUsableCpu(unsigned int cpu)
{
    DWORD_PTR ofProcess = 0;
    DWORD_PTR ofSystem = 0;
    return GetProcessAffinityMask(GetCurrentProcess(), &ofProcess, &ofSystem) != FALSE && cpu < 64 &&
           (ofProcess >> cpu & 1) != 0;
}

} // namespace tracehost
