#pragma once

#include <optional>
#include <string>
#include <thread>

namespace tracehost {

/// What is asked of the system for a thread with deadlines.
struct Privileges
{
    int priority = 0; ///< of SCHED_FIFO, 1 to 99; 0 leaves the thread as it is
    std::optional<unsigned int> cpu;
};

/// Gives `thread` its priority and its processor, and locks the memory that the process has by now. What comes later is
/// not locked, so that no limit of locked memory makes a later allocation fail.
///
/// @return what was refused and why, in words; empty where all was granted
std::string acquirePrivileges(std::thread::native_handle_type thread, Privileges const & privileges);

/// Whether this process may run on processor `cpu`.
bool isUsableCpu(unsigned int cpu);

} // namespace tracehost
