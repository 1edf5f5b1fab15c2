#include <common/log/host/fatal_signals.h>

#include "signal_text.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace common::log::host {

namespace {

struct FatalSignal
{
    int number;
    char const * name;
    bool hasAddress; ///< when the kernel sends it
};
constexpr FatalSignal kFatalSignals[] = {{SIGSEGV, "SIGSEGV", true},  {SIGBUS, "SIGBUS", true},
                                         {SIGILL, "SIGILL", true},    {SIGFPE, "SIGFPE", true},
                                         {SIGABRT, "SIGABRT", false}, {SIGSYS, "SIGSYS", true}};
constexpr std::size_t kFatalSignalCount = sizeof kFatalSignals / sizeof kFatalSignals[0];
constexpr std::size_t kLeastStackBytes = std::size_t{64} * 1024;
constexpr std::chrono::milliseconds kLongestPause{200};
constexpr std::chrono::milliseconds kSecondThreadsWait{2000};

// All that the handler reads. Written only while none of the handlers is in place.
char g_program[32];
int g_descriptor = 2;
std::chrono::milliseconds g_pause{0};
struct sigaction g_previous[kFatalSignalCount];

std::atomic<bool> g_exists{false};
std::atomic<pid_t> g_firstThread{0}; // the thread whose fault is being handled
static_assert(std::atomic<pid_t>::is_always_lock_free, "a signal handler may not wait for a lock");

pid_t ownThread() { return static_cast<pid_t>(syscall(SYS_gettid)); }

std::size_t indexOf(int signal)
{
    std::size_t index = 0;
    while (index + 1 < kFatalSignalCount && kFatalSignals[index].number != signal) {
        ++index;
    }
    return index;
}

void writeLine(FatalSignal const & signal, siginfo_t const & information, pid_t thread)
{
    char threadName[16] = {};
    (void)prctl(PR_GET_NAME, threadName);
    SignalText line;
    line.text("\n")
        .text(g_program)
        .text(": fatal signal ")
        .text(signal.name)
        .text(" (")
        .number(signal.number)
        .text(")");
    if (information.si_code <= 0) { // sent by a process, which may be this one
        line.text(" from process ").number(information.si_pid);
    } else if (signal.hasAddress) {
        line.text(" at ").address(information.si_addr);
    }
    line.text(" in thread ").text(threadName).text(" (").number(thread).text(")");
    // Once: this process has no time left for a reader that does not take it. Not by way of the tap's helper, which
    // does more than a signal handler may.
    ssize_t const written = write(g_descriptor, line.view().data(), line.view().size());
    (void)written;
}

void sleepFor(std::chrono::milliseconds duration)
{
    auto const seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timespec left{};
    left.tv_sec = static_cast<std::time_t>(seconds.count());
    left.tv_nsec = static_cast<long>(std::chrono::nanoseconds(duration - seconds).count());
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

/// Sends this thread the same signal again, with the information it came with. It is delivered when the handler returns
/// and unblocks it, which is at the place of the fault.
void dieOf(int signal, siginfo_t & information, pid_t thread)
{
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    (void)sigaction(signal, &standard, nullptr);
    if (syscall(SYS_rt_tgsigqueueinfo, getpid(), thread, signal, &information) != 0) {
        (void)syscall(SYS_tgkill, getpid(), thread, signal);
    }
}

void callPrevious(struct sigaction const & previous, int signal, siginfo_t * information, void * context)
{
    if ((previous.sa_flags & SA_SIGINFO) != 0) {
        previous.sa_sigaction(signal, information, context);
    } else if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
        previous.sa_handler(signal);
    }
}

extern "C" void handleFatalSignal(int signal, siginfo_t * information, void * context)
{
    pid_t const thread = ownThread();
    pid_t first = 0;
    if (!g_firstThread.compare_exchange_strong(first, thread) && first == thread) {
        dieOf(signal, *information, thread); // out of this very handler, or the previous one
        return;
    }
    std::size_t const index = indexOf(signal);
    writeLine(kFatalSignals[index], *information, thread);
    if (first != 0) {
        // The first thread ends the process. If its previous handler should get away instead, this one is not held up.
        sleepFor(kSecondThreadsWait);
        dieOf(signal, *information, thread);
        return;
    }
    sleepFor(g_pause);
    callPrevious(g_previous[index], signal, information, context);
    dieOf(signal, *information, thread);
}

bool isOurs(struct sigaction const & action)
{
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &handleFatalSignal;
}

void install(std::size_t index)
{
    // Its own query, ahead: the handler may run as soon as it is in place, and needs to find the previous one then.
    (void)sigaction(kFatalSignals[index].number, nullptr, &g_previous[index]);
    if ((g_previous[index].sa_flags & SA_SIGINFO) == 0 && g_previous[index].sa_handler == SIG_IGN) {
        return;
    }
    struct sigaction action = {};
    action.sa_sigaction = &handleFatalSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    // With all blocked, a fault inside the handler is one that the kernel ends the process for.
    (void)sigfillset(&action.sa_mask);
    (void)sigaction(kFatalSignals[index].number, &action, nullptr);
}

void giveBack(std::size_t index)
{
    struct sigaction current = {};
    if (sigaction(kFatalSignals[index].number, nullptr, &current) == 0 && isOurs(current)) {
        (void)sigaction(kFatalSignals[index].number, &g_previous[index], nullptr);
    }
}

} // namespace

struct AlternateSignalStack::Stack
{
    std::vector<char> memory;
    stack_t previous{};
};

AlternateSignalStack::AlternateSignalStack() : m_stack(std::make_unique<Stack>())
{
    long const wanted = sysconf(_SC_SIGSTKSZ); // grows with the registers of the processor
    m_stack->memory.resize(std::max(kLeastStackBytes, wanted > 0 ? static_cast<std::size_t>(wanted) : 0));
    stack_t stack = {};
    stack.ss_sp = m_stack->memory.data();
    stack.ss_size = m_stack->memory.size();
    if (sigaltstack(&stack, &m_stack->previous) != 0) {
        throw std::system_error(errno, std::generic_category(), "stack of signal handlers");
    }
}

AlternateSignalStack::~AlternateSignalStack() { (void)sigaltstack(&m_stack->previous, nullptr); }

FatalSignals::FatalSignals(FatalSignalOptions const & options)
{
    if (g_exists.exchange(true)) {
        throw std::logic_error("a second FatalSignals in one process");
    }
    (void)std::strncpy(g_program, options.program, sizeof g_program - 1);
    g_descriptor = options.descriptor;
    g_pause = std::clamp(options.pause, std::chrono::milliseconds(0), kLongestPause);
    g_firstThread.store(0);
    for (std::size_t index = 0; index < kFatalSignalCount; ++index) {
        install(index);
    }
}

FatalSignals::~FatalSignals()
{
    for (std::size_t index = 0; index < kFatalSignalCount; ++index) {
        giveBack(index);
    }
    g_exists.store(false);
}

} // namespace common::log::host
