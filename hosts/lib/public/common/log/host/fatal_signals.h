#pragma once

#include <chrono>
#include <memory>

namespace common::log::host {

/// A stack of its own for the signal handlers of the thread that makes it, for as long as it lives there.
///
/// Without one, a thread whose stack has overflown has no room for a handler, and the process ends without a line. A
/// thread for which that matters holds one of these; all others do without.
class AlternateSignalStack
{
public:
    /// @throws std::bad_alloc, std::system_error
    AlternateSignalStack();
    AlternateSignalStack(AlternateSignalStack const &) = delete;
    AlternateSignalStack & operator=(AlternateSignalStack const &) = delete;
    ~AlternateSignalStack(); ///< on the same thread

private:
    struct Stack;
    std::unique_ptr<Stack> m_stack;
};

struct FatalSignalOptions
{
    char const * program = "host";        ///< stands in front of the line; cut to 31 characters
    int descriptor = 2;                   ///< where the line goes
    std::chrono::milliseconds pause{200}; ///< for the other threads; 200 ms at most
};

/// Gives a process that ends by a fault a last line, and its other threads a last moment.
///
/// On SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT and SIGSYS, in this order: one line by a single `write`, with the line
/// end in front like all records (`tracehost: fatal signal SIGSEGV (11) at 0x0000000000000010 in thread axis (4711)`,
/// and `from process 4712` in the place of the address where a process sent it); a pause, in which the other threads go
/// on, so that the worker of the Handler drains its queue and the record tap its rests; the handler that was there
/// before, if there was one; the default action. The process dies of that very signal, with its own information about
/// it, so that a core file shows the place of the fault.
///
/// What the faulting thread holds stays held: if that is a lock of the record tap, or if it is the worker itself,
/// nothing more is written, and the pause just passes. A second thread that faults meanwhile writes its line and waits
/// for the end. A fault inside the handler ends the process at once.
///
/// A signal that is ignored stays ignored. SIGTRAP is left to debuggers.
///
/// Ownership  One in a process at a time. Destroy it on the thread that made it, which has an AlternateSignalStack
///            until then. The destruction gives back the handlers that were there before, except where somebody has
///            put another one on top.
/// Threads    Faults are taken on all threads, from the first instant on.
/// Real time  Costs nothing before a fault.
class FatalSignals
{
public:
    /// @throws std::logic_error   where another one exists
    /// @throws std::bad_alloc, std::system_error
    explicit FatalSignals(FatalSignalOptions const & options = {});
    FatalSignals(FatalSignals const &) = delete;
    FatalSignals & operator=(FatalSignals const &) = delete;
    ~FatalSignals();

private:
    AlternateSignalStack m_stack;
};

} // namespace common::log::host
