#include "system.h"

#include <common/log/host/environment.h>

#include <cerrno>
#include <ctime>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace tracehost {

namespace fs = std::filesystem;

bool isTerminal(int descriptor) { return ::isatty(descriptor) != 0; }

bool isSameFile(int left, int right)
{
    struct stat first
    {
    };
    struct stat second
    {
    };
    return ::fstat(left, &first) == 0 && ::fstat(right, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

std::string hindranceOfFollowing(std::string const & path)
{
    struct stat status
    {
    };
    if (::stat(path.c_str(), &status) != 0) {
        return errno == ENOENT ? "" : "cannot be followed: " + std::generic_category().message(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return "is not a regular file";
    }
    return ::access(path.c_str(), R_OK) == 0 ? "" : "cannot be read: " + std::generic_category().message(errno);
}

bool hasRingAndDoor() { return true; }

fs::path programFile()
{
    std::error_code failure;
    fs::path const program = fs::read_symlink("/proc/self/exe", failure);
    return failure ? fs::path() : program;
}

fs::path stateFolder()
{
    fs::path folder = common::log::host::pathFromEnvironment("XDG_STATE_HOME");
    if (!folder.empty()) {
        return folder;
    }
    fs::path const home = common::log::host::pathFromEnvironment("HOME");
    return home.empty() ? "/var/lib" : home / ".local/state";
}

std::uint32_t userId() { return ::getuid(); }

std::chrono::nanoseconds monotonicTime()
{
    timespec time{};
    (void)::clock_gettime(CLOCK_MONOTONIC, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

void sleepUntilMonotonicTime(std::chrono::nanoseconds time)
{
    timespec const wake{static_cast<std::time_t>(time.count() / 1'000'000'000),
                        static_cast<long>(time.count() % 1'000'000'000)};
    (void)::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &wake, nullptr); // interrupted: early
}

} // namespace tracehost
