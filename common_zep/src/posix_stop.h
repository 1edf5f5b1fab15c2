#pragma once

// How ZEP_eThreadDelete takes a thread away. Part of the translation unit thread_posix.cpp, which alone includes it.
//
// Cancelling the thread was rejected: the unwinding ends the process at the first noexcept function and at the first
// handler that catches everything, streams are full of both, and a thread that computes is never reached. Leaving
// it alone was rejected too, since the caller frees what the thread uses. So a signal asks the thread where it is,
// again and again, until it is at a place where nothing of the process depends on it; from there it jumps to its own
// end. A thread that is inside the runtime nearly all the time is hardly ever met outside by chance: after a few
// questions the processor steps it to where it comes out.

#include "posix_call_chain.h"
#include "posix_thread.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <iterator>
#include <link.h>
#include <linux/close_range.h>
#include <mutex>
#include <sched.h>
#include <signal.h>
#include <ucontext.h>

// Of the thread sanitizer, if there is one in the process.
extern "C" [[gnu::weak]] void __tsan_init();

namespace common_zep {
namespace {

constexpr int kFirstHighDescriptor = 1024;
constexpr unsigned kRoundsBeforeStepping = 8;
constexpr unsigned kShortRounds = 1000;
constexpr unsigned kStepsAtOnce = 5000; // some 10 ms, and more than most calls into the runtime take

/// Gives the thread descriptors of its own, all of them the null device. A write in which it is stuck starts again
/// there and succeeds, so that the stream above it neither fails nor keeps its lock; to interrupt the write instead
/// would leave the process's stream in failure. By bare system calls: the usual functions are cancellation points, and
/// sanitizers keep account of descriptors as of one table for the process.
void detachDescriptors()
{
    // The second does the same where a container forbids the first.
    if (syscall(SYS_unshare, CLONE_FILES) != 0 && syscall(SYS_close_range, ~0U, ~0U, CLOSE_RANGE_UNSHARE) != 0) {
        return;
    }
    syscall(SYS_close_range, kFirstHighDescriptor, ~0U, 0);
    syscall(SYS_close, 0); // makes room, the table may be full
    long const nullDevice = syscall(SYS_openat, AT_FDCWD, "/dev/null", O_RDWR | O_CLOEXEC);
    if (nullDevice < 0) {
        syscall(SYS_close_range, 0, ~0U, 0);
        return;
    }
    for (int descriptor = 0; descriptor < kFirstHighDescriptor; ++descriptor) {
        if (descriptor != nullDevice && syscall(SYS_fcntl, descriptor, F_GETFD) >= 0) {
            syscall(SYS_dup3, nullDevice, descriptor, O_CLOEXEC);
        }
    }
}

[[noreturn]] void stayForEver()
{
    std::uint64_t const allSignals = ~std::uint64_t{0};
    for (;;) {
        syscall(SYS_rt_sigsuspend, &allSignals, sizeof(allSignals));
    }
}

/// Lets the processor trap behind each instruction from the handler's return on, or no longer. On x86-64.
void setSingleStep(ucontext_t & context, bool isOn)
{
    constexpr greg_t kTrapFlag = 0x100;
    greg_t & flags = context.uc_mcontext.gregs[REG_EFL];
    flags = isOn ? flags | kTrapFlag : flags & ~kTrapFlag;
}

std::uintptr_t programCounter(ucontext_t const & context)
{
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[REG_RIP]);
}

/// Whether a trap behind the next instruction would find the layer's handler. A trap that is blocked ends the process,
/// and so does one on a new thread or process, which inherits the stepping.
bool canStep(ucontext_t const & context)
{
    constexpr long kNotToStep[] = {SYS_rt_sigprocmask, SYS_rt_sigreturn, SYS_clone, SYS_clone3, SYS_fork, SYS_vfork};
    if (sigismember(&context.uc_sigmask, SIGTRAP) != 0) {
        return false;
    }
    return !isAheadOfSystemCall(programCounter(context)) ||
           std::find(std::begin(kNotToStep), std::end(kNotToStep), context.uc_mcontext.gregs[REG_RAX]) ==
               std::end(kNotToStep);
}

/// Runs on the thread that is to be deleted, with all signals blocked.
[[gnu::noinline]] void onStopSignal(int, siginfo_t *, void * interrupted)
{
    ucontext_t & context = *static_cast<ucontext_t *>(interrupted);
    Thread * const thread = t_current;
    if (thread == nullptr || thread->stage.load(std::memory_order_relaxed) == Stage::gone) {
        return;
    }
    // Acquires what `stopThread` noted ahead of it.
    Demand const demand = thread->demand.load(std::memory_order_acquire);
    if (demand == Demand::none) {
        return; // sent by a stranger
    }
    int const savedError = errno;
    if (!thread->hasOwnDescriptors) {
        thread->hasOwnDescriptors = true;
        detachDescriptors();
    }
    bool const canLeave = isAtPlaceToLeave(*thread, demand);
    // Ahead of the jump: `stopThread` sends the next signal only when this one has been answered.
    thread->answeredSignals.fetch_add(1, std::memory_order_release);
    wakeWaiters(thread->answeredSignals);
    if (canLeave) {
        siglongjmp(thread->wayOut, 1);
    }
    if (demand == Demand::stopAnywhere) {
        setState(*thread, State::stopped);
        stayForEver();
    }
    if (thread->mayStep.load(std::memory_order_acquire) && thread->stepsLeft == 0 &&
        thread->stage.load(std::memory_order_relaxed) == Stage::inEntry && canStep(context)) {
        thread->stepsLeft = kStepsAtOnce;
        thread->lastStep = 0;
        setSingleStep(context, true);
    }
    errno = savedError;
}

// Who handled traps before the layer did; guarded by `g_trapMutex` except for its reading in the handler.
struct sigaction g_previousTrap = {};
unsigned g_trapUsers = 0;
std::mutex g_trapMutex;

/// For a trap that is not the layer's.
void passTrapOn(int number, siginfo_t * info, void * context)
{
    if ((g_previousTrap.sa_flags & SA_SIGINFO) != 0) {
        g_previousTrap.sa_sigaction(number, info, context);
    } else if (g_previousTrap.sa_handler == SIG_DFL) {
        sigaction(number, &g_previousTrap, nullptr);
        raise(number); // comes with the return from here
    } else if (g_previousTrap.sa_handler != SIG_IGN) {
        g_previousTrap.sa_handler(number);
    }
}

/// Runs behind each instruction of a thread that is stepped through, with all signals blocked.
[[gnu::noinline]] void onTrap(int number, siginfo_t * info, void * interrupted)
{
    ucontext_t & context = *static_cast<ucontext_t *>(interrupted);
    Thread * const thread = t_current;
    if (thread == nullptr || thread->stepsLeft == 0) {
        passTrapOn(number, info, interrupted);
        return;
    }
    int const savedError = errno;
    std::uintptr_t const counter = programCounter(context);
    bool const isOwnCode = counter >= thread->ownCodeBegin && counter < thread->ownCodeEnd;
    if (isOwnCode && isAtPlaceToLeave(*thread, thread->demand.load(std::memory_order_acquire))) {
        siglongjmp(thread->wayOut, 1); // the stepping is off inside a handler
    }
    // A repeated instruction traps once for each byte. A long one is let run, and the thread asked again later.
    bool const isLongRepeat =
        counter == thread->lastStep && context.uc_mcontext.gregs[REG_RCX] > greg_t{thread->stepsLeft};
    thread->lastStep = counter;
    --thread->stepsLeft;
    if (isLongRepeat || !canStep(context) || thread->stage.load(std::memory_order_relaxed) != Stage::inEntry) {
        thread->stepsLeft = 0;
    }
    setSingleStep(context, thread->stepsLeft != 0);
    errno = savedError;
}

/// Takes the traps while a thread is stepped through.
class StepTrap
{
public:
    explicit StepTrap(Thread & thread) : m_thread(thread) {}
    StepTrap(StepTrap const &) = delete;
    StepTrap & operator=(StepTrap const &) = delete;

    void begin()
    {
        m_isOn = true;
        std::lock_guard<std::mutex> const lock(g_trapMutex);
        if (g_trapUsers++ == 0) {
            struct sigaction action = {};
            action.sa_sigaction = &onTrap;
            action.sa_flags = SA_SIGINFO | SA_RESTART;
            sigfillset(&action.sa_mask);
            sigaction(SIGTRAP, &action, &g_previousTrap);
        }
        m_thread.mayStep.store(true, std::memory_order_release); // the handler is in place
    }

    /// To be called when the thread runs no more. If it still does, traps stay with the layer.
    void end() // NOLINT(readability-make-member-function-const): it ends what the object stands for
    {
        if (!m_isOn) {
            return;
        }
        std::lock_guard<std::mutex> const lock(g_trapMutex);
        if (--g_trapUsers == 0) {
            sigaction(SIGTRAP, &g_previousTrap, nullptr);
        }
    }

private:
    Thread & m_thread;
    bool m_isOn = false;
};

/// Takes the highest real-time signal that nobody handles. Called once, ahead of the first thread.
int installStopSignal()
{
    int number = SIGRTMAX;
    for (struct sigaction present = {}; number > SIGRTMIN; --number) {
        if (sigaction(number, nullptr, &present) == 0 && (present.sa_flags & SA_SIGINFO) == 0 &&
            present.sa_handler == SIG_DFL) {
            break;
        }
    }
    struct sigaction action = {};
    action.sa_sigaction = &onStopSignal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigfillset(&action.sa_mask);
    sigaction(number, &action, nullptr);
    return number;
}

int stopSignal()
{
    static int const number = installStopSignal();
    return number;
}

struct CodeSearch
{
    std::uintptr_t address;
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
};

int visitObject(dl_phdr_info * object, std::size_t, void * argument)
{
    CodeSearch & search = *static_cast<CodeSearch *>(argument);
    for (unsigned i = 0; i < object->dlpi_phnum; ++i) {
        ElfW(Phdr) const & segment = object->dlpi_phdr[i];
        std::uintptr_t const begin = object->dlpi_addr + segment.p_vaddr;
        if (segment.p_type == PT_LOAD && search.address >= begin && search.address - begin < segment.p_memsz) {
            search.begin = begin;
            search.end = begin + segment.p_memsz;
            return 1;
        }
    }
    return 0;
}

/// Notes where the thread sleeps, if it does, and tells whether it waits in any system call. The kernel knows, and
/// tells the program counter as well, by which the handler sees whether the thread is still there when the signal
/// arrives.
bool noteSleep(Thread & thread, pid_t systemId)
{
    // Those that only wait, on x86-64: no function of the runtime calls them with one of its locks held.
    constexpr long kSleeps[] = {SYS_nanosleep,   SYS_clock_nanosleep, SYS_pause,          SYS_poll,
                                SYS_ppoll,       SYS_select,          SYS_pselect6,       SYS_epoll_wait,
                                SYS_epoll_pwait, SYS_rt_sigsuspend,   SYS_rt_sigtimedwait};
    thread.sleepsAt.store(0, std::memory_order_relaxed);
    char text[256] = {};
    std::snprintf(text, sizeof(text), "/proc/self/task/%d/syscall", systemId);
    int const file = open(text, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    ssize_t const size = read(file, text, sizeof(text) - 1);
    close(file);
    text[size > 0 ? size : 0] = '\0';
    long number = -1;
    unsigned long counter = 0; // behind six arguments and the stack pointer
    if (std::sscanf(text, "%ld %*x %*x %*x %*x %*x %*x %*x %lx", &number, &counter) != 2) {
        return false; // it runs, or waits outside a system call
    }
    if (std::find(std::begin(kSleeps), std::end(kSleeps), number) != std::end(kSleeps)) {
        thread.sleepsAt.store(counter, std::memory_order_relaxed);
    }
    return true;
}

/// What the thread has used of the processor, in nanoseconds.
std::int64_t processorTime(pid_t systemId)
{
    timespec time = {};
    clock_gettime(static_cast<clockid_t>(~static_cast<unsigned>(systemId) << 3 | 6), &time); // 6: of this one thread
    return nanoseconds(time);
}

/// How long a delete has gone on, as far as the thread had a chance to get on meanwhile: the time in which it waited,
/// and what it had of the processor. On a machine under load that is a part of the time.
class Patience
{
public:
    void add(pid_t systemId, bool isWaiting)
    {
        std::int64_t const now = nanoseconds(monotonicTimeIn(0));
        std::int64_t const used = processorTime(systemId);
        m_elapsed += isWaiting ? now - m_now : std::clamp<std::int64_t>(used - m_used, 0, now - m_now);
        m_now = now;
        m_used = used;
    }

    Demand demand() const
    {
        if (m_elapsed < kSecond / 4) {
            return Demand::entryOrSleep;
        }
        if (m_elapsed < kSecond) {
            return Demand::outermostSeen;
        }
        // The second is for a thread that never gets the processor: it meets the signal when it does.
        bool const isOver = m_elapsed > 2 * kSecond || m_now - m_begin > 10 * kSecond;
        return isOver ? Demand::stopAnywhere : Demand::anySleep;
    }

    bool isExhausted() const { return m_elapsed > 4 * kSecond || m_now - m_begin > 12 * kSecond; }

private:
    std::int64_t m_begin = nanoseconds(monotonicTimeIn(0));
    std::int64_t m_now = m_begin;
    std::int64_t m_used = 0;
    std::int64_t m_elapsed = 0;
};

/// Ends the thread or stops it for ever.
/// @return whether it runs no more
bool stopThread(Thread & thread)
{
    CodeSearch search{reinterpret_cast<std::uintptr_t>(thread.entry)};
    dl_iterate_phdr(&visitObject, &search);
    thread.ownCodeBegin = search.begin;
    thread.ownCodeEnd = search.end;
    StepTrap trap(thread);
    std::uint32_t expected = thread.answeredSignals.load(std::memory_order_acquire);
    Patience patience;
    for (unsigned round = 0; !patience.isExhausted(); ++round) {
        // Not where the traps would come inside the thread sanitizer, which cannot be entered twice.
        if (round == kRoundsBeforeStepping && &__tsan_init == nullptr) {
            trap.begin();
        }
        pid_t const systemId = thread.systemId.load(std::memory_order_relaxed);
        patience.add(systemId, noteSleep(thread, systemId));
        thread.demand.store(patience.demand(), std::memory_order_release);
        std::uint32_t const answered = thread.answeredSignals.load(std::memory_order_acquire);
        // One signal at a time, or they would pile up with a thread that gets no processor. By the system's number: a
        // cleanup may join the thread at this moment, and then `id` is nobody's. A thread that got the same number
        // since does not mind, its handler finds no demand.
        if (answered >= expected && systemId != 0 && syscall(SYS_tgkill, getpid(), systemId, stopSignal()) == 0) {
            expected = answered + 1;
        }
        timespec const answerLimit = monotonicTimeIn(kMillisecond);
        if (thread.state.load(std::memory_order_acquire) == State::running) {
            waitForChange(thread.answeredSignals, answered, &answerLimit);
        }
        // A pause in which the thread gets on, or it would be found at the same place again.
        timespec const pauseLimit = monotonicTimeIn(round < kShortRounds ? kMillisecond / 20 : kMillisecond);
        if (waitUntilEnd(thread, &pauseLimit)) {
            trap.end();
            return true;
        }
    }
    return false;
}

} // namespace
} // namespace common_zep
