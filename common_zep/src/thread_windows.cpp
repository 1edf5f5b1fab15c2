// The thread layer on 64-bit Windows. CMake takes this file or its sibling for another system.

#include "thread_table.h"
#include "windows_call_chain.h"

#include <common_zep/thread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstring>
#include <exception>
#include <memory>
#include <new>

#include <process.h>

namespace common_zep {
namespace {

using Clock = std::chrono::steady_clock;

/// One thread of the layer.
struct Thread
{
    Thread() = default;
    Thread(Thread const &) = delete;
    Thread & operator=(Thread const &) = delete;
    ~Thread()
    {
        for (HANDLE const handle : {system, stopped}) {
            if (handle != nullptr) {
                CloseHandle(handle);
            }
        }
    }

    ZEP_ThreadEntry entry = nullptr;
    void * argument = nullptr;
    wchar_t name[16] = {};
    HANDLE system = nullptr;  // signalled when the thread has ended, its thread-local objects included
    HANDLE stopped = nullptr; // an event: it is suspended for ever
    DWORD id = 0;
    std::uint32_t exitCode = 0; // published by the thread's end
    std::atomic<bool> isBeingDeleted{false};
};

ThreadTable<Thread> & threads() { return ThreadTable<Thread>::instance(); }

/// Runs the entry. A function of its own, so that the walk through the frames knows where to end; nothing may be
/// inlined here, and the call of the entry may not be a jump.
[[gnu::noinline]] void runEntry(Thread & thread)
{
    std::uint32_t const exitCode = thread.entry(thread.argument);
    thread.exitCode = exitCode;
}

/// An exception that leaves the entry ends the process here: the system itself would pass it by std::terminate.
unsigned __stdcall runThread(void * argument) noexcept
{
    runEntry(*static_cast<Thread *>(argument));
    return 0;
}

/// The end of a deleted thread.
[[noreturn, gnu::used]] void leaveThread() asm("common_zep_leaveThread");
void leaveThread()
{
    _endthreadex(0);
    std::terminate(); // not reached, which the declaration of the former does not say
}

/// Where it comes from wherever it was, by a return or by nothing: with its stack aligned in any way.
[[gnu::naked]] void enterLeaveThread()
{
    asm("andq $-16, %rsp\n\t"
        "subq $32, %rsp\n\t"
        "call common_zep_leaveThread");
}

bool hasEnded(Thread const & thread) { return WaitForSingleObject(thread.system, 0) == WAIT_OBJECT_0; }

/// @return whether the thread runs no more
bool waitForEnd(Thread const & thread, DWORD milliseconds)
{
    HANDLE const ends[] = {thread.system, thread.stopped};
    return WaitForMultipleObjects(2, ends, FALSE, milliseconds) < WAIT_OBJECT_0 + 2;
}

/// The same by the monotonic clock. The system counts in ticks, and may be a tick early.
bool waitForEndUntil(Thread const & thread, Clock::time_point deadline)
{
    for (;;) {
        auto const rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (waitForEnd(thread, static_cast<DWORD>(std::clamp<std::int64_t>(rest, 0, INT_MAX)))) {
            return true;
        }
        if (rest <= 0) {
            return false;
        }
    }
}

std::uint32_t statusOf(Thread const & thread)
{
    return WaitForSingleObject(thread.stopped, 0) == WAIT_OBJECT_0 ? ZEP_STOPPED_IN_PLACE : ZEP_OK;
}

/// @param thread  receives the thread of the handle
std::uint32_t findThread(std::uint64_t handle, std::shared_ptr<Thread> & thread)
{
    if (handle == 0) {
        return ZEP_NO_THREAD;
    }
    thread = threads().find(handle);
    if (thread == nullptr) {
        return ZEP_UNKNOWN_THREAD;
    }
    // A number of the system is nobody else's only as long as its thread runs.
    return thread->id == GetCurrentThreadId() && !hasEnded(*thread) ? ZEP_OWN_THREAD : ZEP_OK;
}

using SetDescription = HRESULT(WINAPI *)(HANDLE, PCWSTR);
using GetDescription = HRESULT(WINAPI *)(HANDLE, PWSTR *);

/// A function that only newer systems have; null on others.
template <class Function>
Function systemFunction(char const * name)
{
    // By way of a pointer to a function without parameters, which every other may be cast from.
    return reinterpret_cast<Function>(
        reinterpret_cast<void (*)()>(GetProcAddress(GetModuleHandleA("kernel32.dll"), name)));
}

void setName(Thread const & thread)
{
    auto const setDescription = systemFunction<SetDescription>("SetThreadDescription");
    if (setDescription == nullptr) {
        return;
    }
    if (thread.name[0] != L'\0') {
        (void)setDescription(thread.system, thread.name);
        return;
    }
    auto const getDescription = systemFunction<GetDescription>("GetThreadDescription");
    PWSTR ofCreator = nullptr;
    if (getDescription != nullptr && SUCCEEDED(getDescription(GetCurrentThread(), &ofCreator))) {
        (void)setDescription(thread.system, ofCreator);
        LocalFree(ofCreator);
    }
}

int systemPriority(std::uint32_t priority)
{
    if (priority == 0) {
        return THREAD_PRIORITY_NORMAL;
    }
    return priority < 50 ? THREAD_PRIORITY_HIGHEST : THREAD_PRIORITY_TIME_CRITICAL;
}

/// @param cores  0 for those of the process
bool startThread(Thread & thread, std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores)
{
    constexpr unsigned kLayerBytes = 65536; // our frames, guard pages, and what the system puts there for an exception
    thread.stopped = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (thread.stopped == nullptr) {
        return false;
    }
    unsigned id = 0;
    unsigned const size = stackSize == 0 ? 0 : std::min(stackSize, UINT_MAX - kLayerBytes) + kLayerBytes;
    thread.system = reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, size, &runThread, &thread, CREATE_SUSPENDED | STACK_SIZE_PARAM_IS_A_RESERVATION, &id));
    if (thread.system == nullptr) {
        return false;
    }
    thread.id = id;
    setName(thread);
    (void)SetThreadPriority(thread.system, systemPriority(priority));
    bool const isBound = cores == 0 || SetThreadAffinityMask(thread.system, cores) != 0;
    if (!isBound || ResumeThread(thread.system) == static_cast<DWORD>(-1)) {
        TerminateThread(thread.system, 0); // it has run nothing yet
        return false;
    }
    return true;
}

std::uint32_t create(std::uint64_t & handle, std::shared_ptr<Thread> const & thread, std::uint32_t priority,
                     std::uint32_t stackSize, std::uint64_t cores)
{
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
    bool const isStarted =
        threads().add(thread, handle, [&] { return startThread(*thread, priority, stackSize, cores); });
    return isStarted ? ZEP_OK : ZEP_START_REFUSED;
}

/// How a delete takes a thread away. Ending it wherever it is was rejected: it may hold a lock of the heap or of a
/// stream. So it is suspended again and again until it is in the body of its entry, where all that it has called has
/// given its locks back; and when it is found in a function that the entry has called, that function's return leads it to
/// its end. An exception that would pass there from then on ends the process.
class Deletion
{
public:
    explicit Deletion(Thread const & thread) : m_thread(thread) {}

    /// @return whether the thread runs no more
    bool run()
    {
        for (;;) {
            auto const elapsed = Clock::now() - m_begin;
            if (hasEnded(m_thread)) {
                return true;
            }
            if (SuspendThread(m_thread.system) == static_cast<DWORD>(-1)) {
                return waitForEnd(m_thread, 1000); // it is about to end, or out of reach
            }
            if (!look(elapsed > std::chrono::milliseconds(250)) && elapsed > std::chrono::seconds(2)) {
                SetEvent(m_thread.stopped); // and never resumed
                return true;
            }
            ResumeThread(m_thread.system);
            if (elapsed > std::chrono::seconds(1)) {
                CancelSynchronousIo(m_thread.system); // a write may hold the lock of its file
            }
            if (waitForEnd(m_thread, 1)) {
                return true;
            }
        }
    }

private:
    /// Looks at the suspended thread, and ends it or sends it to its end.
    ///
    /// @param mayEndWaits  whether it may be ended in a wait; the destructors of its thread-local objects do not run then
    /// @return whether it ends as soon as it is resumed
    bool look(bool mayEndWaits)
    {
        CONTEXT context = {};
        context.ContextFlags = CONTEXT_FULL;
        if (GetThreadContext(m_thread.system, &context) == FALSE) { // with it the suspension is complete
            return false;
        }
        bool const isStill = context.Rip == m_lastCounter && context.Rsp == m_lastStack;
        m_lastCounter = context.Rip;
        m_lastStack = context.Rsp;
        auto const leave = reinterpret_cast<std::uintptr_t>(&enterLeaveThread);
        auto const end =
            m_isSent ? reinterpret_cast<std::uintptr_t>(&leaveThread) : reinterpret_cast<std::uintptr_t>(&runEntry);
        CallChain const chain = walk(m_modules, context, end, leave);
        if (!chain.hasReachedEntry) {
            return false;
        }
        if (mayEndWaits && chain.isInWait && isStill) {
            return TerminateThread(m_thread.system, 0) != FALSE;
        }
        if (m_isSent) {
            return false;
        }
        if (chain.returnToEntry != 0) {
            std::memcpy(reinterpret_cast<void *>(chain.returnToEntry), &leave, sizeof(leave));
            m_isSent = true;
            return false;
        }
        context.Rip = leave;
        m_isSent = SetThreadContext(m_thread.system, &context) != FALSE;
        return m_isSent;
    }

    Thread const & m_thread;
    Modules const m_modules;
    Clock::time_point const m_begin = Clock::now();
    bool m_isSent = false; // to its end
    DWORD64 m_lastCounter = 0;
    DWORD64 m_lastStack = 0;
};

} // namespace
} // namespace common_zep

using namespace common_zep;

std::uint32_t ZEP_eThreadGetUsableCores(std::uint64_t * cores)
{
    if (cores == nullptr) {
        return ZEP_INVALID_ARGUMENT;
    }
    DWORD_PTR ofProcess = 0;
    DWORD_PTR ofSystem = 0;
    if (GetProcessAffinityMask(GetCurrentProcess(), &ofProcess, &ofSystem) == FALSE) {
        return ZEP_CORES_NOT_AVAILABLE;
    }
    *cores = ofProcess;
    return ZEP_OK;
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
    try {
        auto const thread = std::make_shared<Thread>();
        thread->entry = entry;
        thread->argument = argument;
        if (name != nullptr) {
            constexpr std::size_t kLongestName = 15;
            int const length = static_cast<int>(std::min(std::strlen(name), kLongestName));
            (void)MultiByteToWideChar(CP_UTF8, 0, name, length, thread->name, static_cast<int>(kLongestName));
        }
        return create(*handle, thread, priority, stackSize, cores);
    } catch (std::bad_alloc const &) {
        return ZEP_START_REFUSED;
    }
}

std::uint32_t ZEP_eThreadJoin(std::uint64_t handle, std::uint32_t timeoutMilliseconds, std::uint32_t * exitCode)
{
    std::shared_ptr<Thread> thread;
    std::uint32_t const status = findThread(handle, thread);
    if (status != ZEP_OK) {
        return status;
    }
    if (!waitForEndUntil(*thread, Clock::now() + std::chrono::milliseconds(timeoutMilliseconds))) {
        return ZEP_TIMED_OUT;
    }
    if (thread->isBeingDeleted.load()) {
        return ZEP_UNKNOWN_THREAD; // it did not return from its entry, so there is no exit code
    }
    if (statusOf(*thread) != ZEP_OK) {
        return statusOf(*thread);
    }
    if (exitCode != nullptr) {
        *exitCode = thread->exitCode;
    }
    return ZEP_OK;
}

std::uint32_t ZEP_eThreadDelete(std::uint64_t handle)
{
    std::shared_ptr<Thread> thread;
    std::uint32_t const status = findThread(handle, thread);
    if (status != ZEP_OK) {
        return status;
    }
    if (thread->isBeingDeleted.exchange(true)) {
        return ZEP_BUSY;
    }
    if (!Deletion(*thread).run()) {
        thread->isBeingDeleted.store(false);
        return ZEP_STILL_RUNS;
    }
    (void)threads().remove(handle); // a cleanup that waited for the thread may have been quicker
    return statusOf(*thread);
}

std::uint32_t ZEP_eThreadCleanup(std::uint64_t handle)
{
    std::shared_ptr<Thread> thread;
    std::uint32_t const status = findThread(handle, thread);
    if (status != ZEP_OK) {
        return status;
    }
    // Without bound: as long as the thread runs, the caller may not free what it uses.
    waitForEnd(*thread, INFINITE);
    return threads().remove(handle) ? statusOf(*thread) : ZEP_UNKNOWN_THREAD;
}
