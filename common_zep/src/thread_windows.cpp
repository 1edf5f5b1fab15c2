// Threads on 64-bit Windows. CMake takes this file or its sibling for another system.

#include "system_thread.h"
#include "windows_call_chain.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstring>
#include <exception>
#include <memory>

#include <process.h>

namespace common_zep {

using Clock = std::chrono::steady_clock;

/// One thread of the layer.
struct Thread : SystemThread
{
    ~Thread() override
    {
        for (HANDLE const handle : {system, stopped}) {
            if (handle != nullptr) {
                CloseHandle(handle);
            }
        }
    }

    bool start(std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores) override;
    bool isCurrent() const override;
    bool waitForEnd(std::optional<std::chrono::milliseconds> limit) override;
    bool stop() override;
    bool isStoppedInPlace() const override { return WaitForSingleObject(stopped, 0) == WAIT_OBJECT_0; }
    void release() override {} // the destructor does

    wchar_t name[16] = {};
    HANDLE system = nullptr;  // signalled when the thread has ended, its thread-local objects included
    HANDLE stopped = nullptr; // an event: it is suspended for ever
    DWORD id = 0;
};

namespace {

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
bool waitMilliseconds(Thread const & thread, DWORD milliseconds)
{
    HANDLE const ends[] = {thread.system, thread.stopped};
    return WaitForMultipleObjects(2, ends, FALSE, milliseconds) < WAIT_OBJECT_0 + 2;
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
                return waitMilliseconds(m_thread, 1000); // it is about to end, or out of reach
            }
            if (!look(elapsed > std::chrono::milliseconds(250)) && elapsed > std::chrono::seconds(2)) {
                SetEvent(m_thread.stopped); // and never resumed
                return true;
            }
            ResumeThread(m_thread.system);
            if (elapsed > std::chrono::seconds(1)) {
                CancelSynchronousIo(m_thread.system); // a write may hold the lock of its file
            }
            if (waitMilliseconds(m_thread, 1)) {
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

bool Thread::start(std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores)
{
    constexpr unsigned kLayerBytes = 65536; // our frames, guard pages, and what the system puts there for an exception
    stopped = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (stopped == nullptr) {
        return false;
    }
    unsigned number = 0;
    unsigned const size = stackSize == 0 ? 0 : std::min(stackSize, UINT_MAX - kLayerBytes) + kLayerBytes;
    system = reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, size, &runThread, this, CREATE_SUSPENDED | STACK_SIZE_PARAM_IS_A_RESERVATION, &number));
    if (system == nullptr) {
        return false;
    }
    id = number;
    setName(*this);
    (void)SetThreadPriority(system, systemPriority(priority));
    bool const isBound = cores == 0 || SetThreadAffinityMask(system, cores) != 0;
    if (!isBound || ResumeThread(system) == static_cast<DWORD>(-1)) {
        TerminateThread(system, 0); // it has run nothing yet
        return false;
    }
    return true;
}

// A number of the system is nobody else's only as long as its thread runs.
bool Thread::isCurrent() const { return id == GetCurrentThreadId() && !hasEnded(*this); }

bool Thread::waitForEnd(std::optional<std::chrono::milliseconds> limit)
{
    if (!limit) {
        return waitMilliseconds(*this, INFINITE);
    }
    auto const deadline = Clock::now() + *limit;
    for (;;) { // the system counts in ticks, and may be a tick early
        auto const rest = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (waitMilliseconds(*this, static_cast<DWORD>(std::clamp<std::int64_t>(rest, 0, INT_MAX)))) {
            return true;
        }
        if (rest <= 0) {
            return false;
        }
    }
}

bool Thread::stop() { return Deletion(*this).run(); }

std::shared_ptr<SystemThread> makeSystemThread(char const * name)
{
    auto thread = std::make_shared<Thread>();
    if (name != nullptr) {
        constexpr std::size_t kLongestName = 15;
        int const length = static_cast<int>(std::min(std::strlen(name), kLongestName));
        (void)MultiByteToWideChar(CP_UTF8, 0, name, length, thread->name, static_cast<int>(kLongestName));
    }
    return thread;
}

bool getUsableCores(std::uint64_t & cores)
{
    DWORD_PTR ofProcess = 0;
    DWORD_PTR ofSystem = 0;
    bool const isKnown = GetProcessAffinityMask(GetCurrentProcess(), &ofProcess, &ofSystem) != FALSE;
    cores = ofProcess;
    return isKnown;
}

} // namespace common_zep
