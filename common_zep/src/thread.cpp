// The thread layer's functions, the same on every system. What a system does by itself stands in thread_posix.cpp and
// thread_windows.cpp, of which CMake takes one.

#include "system_thread.h"
#include "thread_table.h"

#include <common_zep/thread.h>

#include <memory>
#include <new>

namespace common_zep {
namespace {

ThreadTable<SystemThread> & threads() { return ThreadTable<SystemThread>::instance(); }

/// @param thread  receives the thread of the handle
std::uint32_t findThread(std::uint64_t handle, std::shared_ptr<SystemThread> & thread)
{
    if (handle == 0) {
        return ZEP_NO_THREAD;
    }
    thread = threads().find(handle);
    if (thread == nullptr) {
        return ZEP_UNKNOWN_THREAD;
    }
    return thread->isCurrent() ? ZEP_OWN_THREAD : ZEP_OK;
}

std::uint32_t statusOf(SystemThread const & thread)
{
    return thread.isStoppedInPlace() ? ZEP_STOPPED_IN_PLACE : ZEP_OK;
}

std::uint32_t release(SystemThread & thread)
{
    thread.release();
    return statusOf(thread);
}

} // namespace
} // namespace common_zep

using namespace common_zep;

std::uint32_t ZEP_eThreadGetUsableCores(std::uint64_t * cores)
{
    if (cores == nullptr) {
        return ZEP_INVALID_ARGUMENT;
    }
    try {
        return getUsableCores(*cores) ? ZEP_OK : ZEP_CORES_NOT_AVAILABLE;
    } catch (std::bad_alloc const &) {
        return ZEP_CORES_NOT_AVAILABLE;
    }
}

std::uint32_t ZEP_eThreadCreate(std::uint64_t * handle, char const * name, ZEP_ThreadEntry entry, void * argument,
                                std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores, bool /*reserved*/)
{
    if (handle == nullptr) {
        return ZEP_INVALID_ARGUMENT;
    }
    *handle = 0;
    if (entry == nullptr) {
        return ZEP_INVALID_ARGUMENT;
    }
    if (cores != 0) {
        std::uint64_t usable = 0;
        std::uint32_t const status = ZEP_eThreadGetUsableCores(&usable);
        if (status != ZEP_OK) {
            return status;
        }
        cores &= usable;
        if (cores == 0) {
            return ZEP_NO_USABLE_CORE;
        }
    }
    try {
        std::shared_ptr<SystemThread> const thread = makeSystemThread(name);
        thread->entry = entry;
        thread->argument = argument;
        bool const isStarted =
            threads().add(thread, *handle, [&] { return thread->start(priority, stackSize, cores); });
        return isStarted ? ZEP_OK : ZEP_START_REFUSED;
    } catch (std::bad_alloc const &) {
        return ZEP_START_REFUSED;
    }
}

std::uint32_t ZEP_eThreadJoin(std::uint64_t handle, std::uint32_t timeoutMilliseconds, std::uint32_t * exitCode)
{
    std::shared_ptr<SystemThread> thread;
    std::uint32_t const status = findThread(handle, thread);
    if (status != ZEP_OK) {
        return status;
    }
    if (!thread->waitForEnd(std::chrono::milliseconds(timeoutMilliseconds))) {
        return ZEP_TIMED_OUT;
    }
    if (thread->isBeingDeleted.load()) {
        return ZEP_UNKNOWN_THREAD; // it did not return from its entry, so there is no exit code
    }
    if (thread->isStoppedInPlace()) {
        return ZEP_STOPPED_IN_PLACE;
    }
    if (exitCode != nullptr) {
        *exitCode = thread->exitCode;
    }
    return ZEP_OK;
}

std::uint32_t ZEP_eThreadDelete(std::uint64_t handle)
{
    std::shared_ptr<SystemThread> thread;
    std::uint32_t const status = findThread(handle, thread);
    if (status != ZEP_OK) {
        return status;
    }
    if (thread->isBeingDeleted.exchange(true)) {
        return ZEP_BUSY;
    }
    if (!thread->stop()) {
        thread->isBeingDeleted.store(false);
        return ZEP_STILL_RUNS;
    }
    // A cleanup that waited for the thread may have been quicker.
    return threads().remove(handle) ? release(*thread) : statusOf(*thread);
}

std::uint32_t ZEP_eThreadCleanup(std::uint64_t handle)
{
    std::shared_ptr<SystemThread> thread;
    std::uint32_t const status = findThread(handle, thread);
    if (status != ZEP_OK) {
        return status;
    }
    // Without bound: as long as the thread runs, the caller may not free what it uses.
    (void)thread->waitForEnd(std::nullopt);
    return threads().remove(handle) ? release(*thread) : ZEP_UNKNOWN_THREAD;
}
