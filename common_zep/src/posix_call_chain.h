#pragma once

// Where a thread is, as its own signal handler sees it, and whether it can be taken away from there. Part of the
// translation unit thread_posix.cpp.

#include "posix_thread.h"

#include <unwind.h>

namespace common_zep {
namespace {

// Read by the signal handler. Null on threads that are not the layer's.
thread_local Thread * t_current = nullptr;

/// Runs the entry. A function of its own, so that the walk through the frames knows where to end; nothing may be
/// inlined here, and the call of the entry may not be a jump.
[[gnu::noinline]] void runEntry(Thread & thread)
{
    std::uint32_t const exitCode = thread.entry(thread.argument);
    thread.exitCode = exitCode;
}

/// What a walk through the frames finds, from where the thread was interrupted to its entry.
struct CallChain
{
    Thread const * thread;
    unsigned framesToSkip;        // the handler's own
    bool isInterrupted = false;   // found a signal's frame; a sanitizer may have called the handler from its own code
    std::uintptr_t innermost = 0; // the program counter there
    unsigned foreignFrames = 0;   // the innermost ones, of other loaded objects than the entry's
    unsigned ownFrames = 0;
    bool returnsForeign = false; // own code under foreign code under own code: a stream buffer, a callback
    bool hasReachedEntry = false;
};

/// Whether the next instruction is a system call. On x86-64.
bool isAheadOfSystemCall(std::uintptr_t counter)
{
    auto const * const code = reinterpret_cast<unsigned char const *>(counter);
    return code[0] == 0x0F && code[1] == 0x05;
}

/// Whether the thread stands at a system call, about to start it again or just behind it.
bool isAtSystemCall(std::uintptr_t counter) { return isAheadOfSystemCall(counter) || isAheadOfSystemCall(counter - 2); }

_Unwind_Reason_Code visitFrame(_Unwind_Context * context, void * argument)
{
    CallChain & chain = *static_cast<CallChain *>(argument);
    int isInterrupted = 0;
    std::uintptr_t const counter = _Unwind_GetIPInfo(context, &isInterrupted);
    if (chain.framesToSkip > 0) {
        --chain.framesToSkip;
        return _URC_NO_REASON;
    }
    if (_Unwind_GetRegionStart(context) == reinterpret_cast<std::uintptr_t>(&runEntry)) {
        chain.hasReachedEntry = true;
        return _URC_END_OF_STACK;
    }
    if (isInterrupted != 0) { // what was seen so far is the delivery of the signal
        chain = CallChain{chain.thread, 0};
        chain.isInterrupted = true;
        chain.innermost = counter;
    }
    if (counter >= chain.thread->ownCodeBegin && counter < chain.thread->ownCodeEnd) {
        ++chain.ownFrames;
    } else if (chain.ownFrames > 0) {
        chain.returnsForeign = true;
    } else {
        ++chain.foreignFrames;
        if (isInterrupted != 0 && !isAtSystemCall(counter)) {
            // No place to leave, and no frame to walk past either: the runtime has instructions for which its frame
            // tables do not hold, in the unwinder itself when it enters a handler.
            return _URC_END_OF_STACK;
        }
    }
    return _URC_NO_REASON;
}

/// Whether the thread can be taken away from where it was interrupted.
bool isPlaceToLeave(Thread & thread, CallChain const & chain, Demand demand)
{
    if (thread.stage.load(std::memory_order_relaxed) != Stage::inEntry || !chain.hasReachedEntry) {
        return false;
    }
    if (chain.isInterrupted && chain.innermost == thread.sleepsAt.load(std::memory_order_relaxed)) {
        // A sleep holds no lock of the runtime, but a stream buffer that sleeps may hold one of its own.
        return !chain.returnsForeign || demand >= Demand::anySleep;
    }
    if (chain.returnsForeign) {
        return false;
    }
    // One foreign frame is a system call that the program makes itself, more are a function of the runtime around it. A
    // sanitizer that puts a signal off calls the handler when its function is done; that does not count.
    if (chain.isInterrupted && chain.foreignFrames > 1) {
        return false;
    }
    // In the body of the entry, all that it calls has returned and given its locks back. In deeper functions of the
    // program that is likely only for the outermost of those in which the thread is ever seen.
    if (chain.ownFrames < thread.fewestFrames) {
        thread.fewestFrames = chain.ownFrames;
    }
    return chain.ownFrames == 1 || (demand >= Demand::outermostSeen && chain.ownFrames <= thread.fewestFrames);
}

/// Looks at the frames below the calling signal handler, which must not be inlined into anything.
[[gnu::noinline]] bool isAtPlaceToLeave(Thread & thread, Demand demand)
{
    CallChain chain{&thread, 2};
    _Unwind_Backtrace(&visitFrame, &chain);
    return isPlaceToLeave(thread, chain, demand);
}

} // namespace
} // namespace common_zep
