#include "privileges.h"

#include <cerrno>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <system_error>

namespace tracehost {

namespace {

void addRefusal(std::string & refusals, std::string const & what, int error)
{
    refusals += (refusals.empty() ? "" : ", ") + what + " (" + std::generic_category().message(error) + ")";
}

} // namespace

std::string acquirePrivileges(std::thread::native_handle_type thread, Privileges const & privileges)
{
    std::string refusals;
    if (privileges.priority > 0) {
        sched_param parameters{};
        parameters.sched_priority = privileges.priority;
        if (int const error = ::pthread_setschedparam(thread, SCHED_FIFO, &parameters); error != 0) {
            addRefusal(refusals, "real-time priority " + std::to_string(privileges.priority), error);
        }
    }
    if (privileges.cpu) {
        cpu_set_t cpus;
        CPU_ZERO(&cpus);
        CPU_SET(*privileges.cpu, &cpus);
        if (int const error = ::pthread_setaffinity_np(thread, sizeof cpus, &cpus); error != 0) {
            addRefusal(refusals, "cpu " + std::to_string(*privileges.cpu), error);
        }
    }
    if (::mlockall(MCL_CURRENT) != 0) {
        addRefusal(refusals, "locked memory", errno);
    }
    return refusals;
}

bool isUsableCpu(unsigned int cpu)
{
    cpu_set_t cpus;
    return ::sched_getaffinity(0, sizeof cpus, &cpus) == 0 && cpu < CPU_SETSIZE && CPU_ISSET(cpu, &cpus) != 0;
}

} // namespace tracehost
