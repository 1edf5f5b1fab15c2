// Threads on Linux, with its C library, on a PC. CMake takes this file or its sibling for another system.

#include "posix_stop.h"
#include "posix_thread.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

namespace common_zep {
namespace {

/// Tells the end of a thread. The first of its thread-local objects, so its destructor runs behind all others.
struct EndOfThread
{
    EndOfThread() = default;
    EndOfThread(EndOfThread const &) = delete;
    EndOfThread & operator=(EndOfThread const &) = delete;
    ~EndOfThread()
    {
        thread->stage.store(Stage::gone, std::memory_order_relaxed);
        setState(*thread, State::ended);
    }

    Thread * thread = nullptr;
};
thread_local EndOfThread t_endOfThread;

void * runThread(void * argument)
{
    Thread & thread = *static_cast<Thread *>(argument);
    t_endOfThread.thread = &thread;
    t_current = &thread;
    if (thread.name[0] != '\0') {
        pthread_setname_np(pthread_self(), thread.name);
    }
    thread.systemId.store(gettid(), std::memory_order_relaxed);
    // A delete comes back here. No exception is caught: it ends the process with the stack of its origin.
    if (sigsetjmp(thread.wayOut, 1) == 0) {
        thread.stage.store(Stage::inEntry, std::memory_order_relaxed);
        runEntry(thread);
    }
    thread.stage.store(Stage::leaving, std::memory_order_relaxed);
    return nullptr;
}

/// The affinity of the process's main thread. The size of the set grows until the system's number of cores fits.
bool getProcessCores(std::vector<cpu_set_t> & set)
{
    for (std::size_t count = 1; count <= 64; count *= 2) {
        set.assign(count, cpu_set_t{});
        if (sched_getaffinity(getpid(), count * sizeof(cpu_set_t), set.data()) == 0) {
            return true;
        }
        if (errno != EINVAL) {
            return false;
        }
    }
    return false;
}

int visitThreadLocals(dl_phdr_info * object, std::size_t, void * argument)
{
    for (unsigned i = 0; i < object->dlpi_phnum; ++i) {
        ElfW(Phdr) const & segment = object->dlpi_phdr[i];
        if (segment.p_type == PT_TLS) {
            *static_cast<std::size_t *>(argument) += segment.p_memsz + segment.p_align;
        }
    }
    return 0;
}

/// The size to ask the system for, so that the entry finds `asked` bytes.
std::size_t stackSizeFor(std::uint32_t asked)
{
    constexpr std::size_t kLayerBytes = 32768; // our frames, and the walk through frames inside the signal handler
    std::size_t threadLocals = 0;              // lie on the stack as well
    dl_iterate_phdr(&visitThreadLocals, &threadLocals);
    long const systemMinimum = sysconf(_SC_THREAD_STACK_MIN); // with the frame of a signal
    long const page = sysconf(_SC_PAGESIZE);
    std::size_t const pageSize = page > 0 ? static_cast<std::size_t>(page) : 4096;
    std::size_t const size = std::size_t{asked} + kLayerBytes + threadLocals + ZEP_SANITIZER_STACK_BYTES +
                             static_cast<std::size_t>(std::max(systemMinimum, long{PTHREAD_STACK_MIN}));
    return (size + pageSize - 1) / pageSize * pageSize;
}

/// The properties of a thread that is to be started.
class Attributes
{
public:
    Attributes() { m_isValid = pthread_attr_init(&m_attributes) == 0; }
    Attributes(Attributes const &) = delete;
    Attributes & operator=(Attributes const &) = delete;
    ~Attributes()
    {
        if (m_isValid) {
            pthread_attr_destroy(&m_attributes);
        }
    }

    bool setStackSize(std::uint32_t asked)
    {
        return m_isValid && (asked == 0 || pthread_attr_setstacksize(&m_attributes, stackSizeFor(asked)) == 0);
    }

    /// What arrives from outside belongs to the host's own threads.
    bool blockSignals()
    {
        sigset_t blocked;
        sigfillset(&blocked);
        for (int const own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT, stopSignal()}) {
            sigdelset(&blocked, own);
        }
        return m_isValid && pthread_attr_setsigmask_np(&m_attributes, &blocked) == 0;
    }

    bool setCores(std::uint64_t cores)
    {
        cpu_set_t set = {};
        for (unsigned core = 0; core < 64; ++core) {
            if ((cores >> core & 1) != 0) {
                CPU_SET(core, &set);
            }
        }
        return m_isValid && pthread_attr_setaffinity_np(&m_attributes, sizeof(set), &set) == 0;
    }

    /// Explicitly also for the default policy: a new thread would inherit the creator's otherwise.
    bool setPolicy(int policy, int level)
    {
        sched_param parameter = {};
        parameter.sched_priority = level;
        return m_isValid && pthread_attr_setinheritsched(&m_attributes, PTHREAD_EXPLICIT_SCHED) == 0 &&
               pthread_attr_setschedpolicy(&m_attributes, policy) == 0 &&
               pthread_attr_setschedparam(&m_attributes, &parameter) == 0;
    }

    bool start(Thread & thread) const { return pthread_create(&thread.id, &m_attributes, &runThread, &thread) == 0; }

private:
    pthread_attr_t m_attributes = {};
    bool m_isValid = false;
};

} // namespace

bool Thread::start(std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores)
{
    Attributes attributes;
    if (!attributes.setStackSize(stackSize) || !attributes.blockSignals() ||
        (cores != 0 && !attributes.setCores(cores))) {
        return false;
    }
    if (priority != 0) {
        int const highest = sched_get_priority_max(SCHED_FIFO);
        int const level = priority < static_cast<std::uint32_t>(highest) ? static_cast<int>(priority) : highest;
        if (attributes.setPolicy(SCHED_FIFO, level) && attributes.start(*this)) {
            return true;
        }
    }
    return attributes.setPolicy(SCHED_OTHER, 0) && attributes.start(*this);
}

bool Thread::isCurrent() const { return this == t_current; }

bool Thread::waitForEnd(std::optional<std::chrono::milliseconds> limit)
{
    // The system's own join with a time-out would take the thread's object away; this one can be repeated.
    timespec const deadline = monotonicTimeIn(limit.value_or(std::chrono::milliseconds(0)).count() * kMillisecond);
    return waitUntilEnd(*this, limit ? &deadline : nullptr);
}

bool Thread::stop() { return stopThread(*this); }

void Thread::release()
{
    if (isStoppedInPlace()) {
        pthread_detach(id); // its stack stays, a join would wait for ever
    } else {
        pthread_join(id, nullptr);
    }
}

std::shared_ptr<SystemThread> makeSystemThread(char const * name)
{
    auto thread = std::make_shared<Thread>();
    std::strncpy(thread->name, name == nullptr ? "" : name, sizeof(thread->name) - 1);
    return thread;
}

bool getUsableCores(std::uint64_t & cores)
{
    std::vector<cpu_set_t> set;
    if (!getProcessCores(set)) {
        return false;
    }
    cores = 0;
    for (unsigned core = 0; core < 64; ++core) {
        cores |= std::uint64_t{CPU_ISSET(core, set.data()) != 0} << core;
    }
    return true;
}

} // namespace common_zep
