#include "thread_delete_support.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace common_zep::test {
namespace {

std::uint64_t coresOf(pid_t process)
{
    cpu_set_t set = {};
    std::uint64_t cores = 0;
    for (unsigned core = 0; core < 64 && sched_getaffinity(process, sizeof(set), &set) == 0; ++core) {
        cores |= std::uint64_t{CPU_ISSET(core, &set) != 0} << core;
    }
    return cores;
}

void bind(pid_t process, std::uint64_t cores)
{
    cpu_set_t set = {};
    for (unsigned core = 0; core < 64; ++core) {
        if ((cores >> core & 1) != 0) {
            CPU_SET(core, &set);
        }
    }
    sched_setaffinity(process, sizeof(set), &set);
}

} // namespace

std::uint32_t const kDeletedFromAWait = ZEP_STOPPED_IN_PLACE;
int const kShare = kHasLeakSanitizer ? 4 : 1;

std::string nameOfThread()
{
    char name[64] = {};
    pthread_getname_np(pthread_self(), name, sizeof(name));
    return name;
}

std::size_t stackSizeOfThread()
{
    std::size_t size = 0;
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    return size;
}

std::uint64_t coresOfThread() { return coresOf(0); }
std::uint64_t coresOfProcess() { return coresOf(getpid()); }
void bindProcessTo(std::uint64_t cores) { bind(getpid(), cores); }
void bindThreadTo(std::uint64_t cores) { bind(0, cores); }

void endThread() { pthread_exit(nullptr); }

} // namespace common_zep::test
