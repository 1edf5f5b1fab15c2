#pragma once

#include <cstdint>

/// The thread layer: start a thread, wait for its end, release it, and end one that will not end by itself.
///
/// A handle names one thread from its creation until a cleanup or a delete has released it. Handle 0 is no thread, and
/// no value is given out twice in the life of a process. Handles do not survive a fork.
///
/// Ownership  The thread object is the layer's. The argument is the caller's, and lives until a join has answered
///            success, or a cleanup or delete has returned (but see ZEP_STILL_RUNS).
/// Threads    All functions from any thread, at any time, on the same handle too. Of several that release the same
///            thread one does it; the others answer ZEP_UNKNOWN_THREAD, or ZEP_BUSY while a delete is under way.
/// Real time  None of the functions: they allocate, lock and wait.
/// Errors     By ZEP_Status. A set top bit is a failure, and without effect unless told otherwise. Nothing is thrown.
///
/// Functions and statuses are the same on every system. What a system gives otherwise than Linux stands at each function.

enum ZEP_Status : std::uint32_t
{
    ZEP_OK = 0,
    ZEP_INVALID_ARGUMENT = 0xF0010001,    ///< a pointer is null that may not be
    ZEP_NO_THREAD = 0xF0010002,           ///< the handle is 0
    ZEP_UNKNOWN_THREAD = 0xF0010003,      ///< the handle was never given out, or its thread is released already
    ZEP_OWN_THREAD = 0xF0010004,          ///< a thread cannot join, clean up or delete itself
    ZEP_NO_USABLE_CORE = 0xF0010005,      ///< none of the cores asked for is usable
    ZEP_START_REFUSED = 0xF0010006,       ///< the system has no thread or no memory left
    ZEP_BUSY = 0xF0010007,                ///< another call is deleting this thread
    ZEP_STOPPED_IN_PLACE = 0xF0010008,    ///< see ZEP_eThreadDelete: the thread is released and runs no more
    ZEP_STILL_RUNS = 0xF0010009,          ///< see ZEP_eThreadDelete: the thread could not be reached
    ZEP_CORES_NOT_AVAILABLE = 0xF001000A, ///< the system does not tell the process's cores
    ZEP_TIMED_OUT = 0xF001000B,           ///< the thread still ran when the time of the join was over
    ZEP_OBJECT_LEFT = 0xF001000F,         ///< a failed creation left an object that has to be deleted; not answered by
                                          ///< this layer, whose creation leaves nothing behind when it fails
};

extern "C" {

typedef std::uint32_t (*ZEP_ThreadEntry)(void * argument); // NOLINT(modernize-use-using): C reads it, too

/// Tells the cores that the process may use, core n as bit n.
///
/// They are those of the process's affinity (its main thread's), not of the calling thread, which may be bound to a
/// core of its own. Cores from 64 upwards have no bit and are left out; where only such are usable, the set is 0.
///
/// On Windows the affinity is that of the process as well, and the set that of its processor group.
///
/// @param cores  receives the set; untouched on failure
/// @return ZEP_OK, ZEP_INVALID_ARGUMENT, ZEP_CORES_NOT_AVAILABLE
std::uint32_t ZEP_eThreadGetUsableCores(std::uint64_t * cores);

/// Starts a thread that runs `entry(argument)`; what that returns is the thread's exit code. An exception that leaves
/// the entry ends the process by std::terminate.
///
/// The thread blocks all signals but those of its own faults (SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS,
/// SIGABRT) and one real-time signal that the layer needs: the highest one without a handler at the first creation.
///
/// On Windows there are no signals to block; the levels 1 to 49 are THREAD_PRIORITY_HIGHEST, all above
/// THREAD_PRIORITY_TIME_CRITICAL; and with 0 for the cores the thread has those of the process.
///
/// @param handle     receives the handle, ahead of the thread's start; 0 on failure
/// @param name       shown by the system's tools, cut to 15 bytes; null or empty keeps the name of the creator
/// @param priority   0 is the default policy. 1 to 99 is the first-in first-out real-time policy with that level, more
///                   is taken as 99. A real-time policy that the system refuses becomes the default policy, silently.
/// @param stackSize  bytes at least that the entry finds; what system, layer and a sanitizer need comes on top. 0 is
///                   the system's default size.
/// @param cores      the thread runs on those of them that are usable, see ZEP_eThreadGetUsableCores. 0 sets no bound
///                   of its own: the cores of the creating thread.
/// @param reserved   not read
/// @return ZEP_OK, ZEP_INVALID_ARGUMENT (handle or entry null), ZEP_NO_USABLE_CORE, ZEP_CORES_NOT_AVAILABLE,
///         ZEP_START_REFUSED
std::uint32_t ZEP_eThreadCreate(std::uint64_t * handle, char const * name, ZEP_ThreadEntry entry, void * argument,
                                std::uint32_t priority, std::uint32_t stackSize, std::uint64_t cores, bool reserved);

/// Waits until the thread has ended, the destructors of its thread-local objects included. The time is that of the
/// monotonic clock. Joining does not release the thread: it can be repeated, after a time-out as well as after success.
///
/// @param exitCode  receives what the entry returned (0 where it left by pthread_exit, on Windows by _endthreadex); may
///                  be null; untouched on failure
/// @return ZEP_OK, ZEP_NO_THREAD, ZEP_UNKNOWN_THREAD (also when the thread is deleted meanwhile), ZEP_OWN_THREAD,
///         ZEP_TIMED_OUT, ZEP_STOPPED_IN_PLACE (after a delete that answered ZEP_STILL_RUNS)
std::uint32_t ZEP_eThreadJoin(std::uint64_t handle, std::uint32_t timeoutMilliseconds, std::uint32_t * exitCode);

/// Ends a thread that will not end by itself, and releases it. When the call has returned, with ZEP_OK or
/// ZEP_STOPPED_IN_PLACE, the thread touches nothing any more. Takes about 1 ms for a thread that sleeps, tens of them
/// for one that works, at most 4 s, and 12 s where the thread gets too little of the processor.
///
/// From the call on the thread has descriptors of its own, all of them the null device (those from 1024 upwards are
/// closed): what it writes is lost, what it reads is at its end, and a write in which it is stuck succeeds. The
/// process's descriptors stay as they are. The thread then runs on until it can be taken away without harm: where it
/// sleeps, in a system call of its own, or in the body of its entry, and not inside a function of the runtime (heap,
/// stream) or of its own that such a function has called (stream buffer). There it leaves past its frames. The
/// destructors of its thread-local objects run, those of its local objects do not: memory and locks that these hold
/// stay as they are. Its program is taken to be the loaded object (executable or shared library) that its entry is in;
/// where the runtime is linked into that, the two cannot be told apart as well.
///
/// Where no such place comes up, the demands are lowered: after 250 ms the outermost function of its program in which
/// it was seen, after 1 s any sleep. After 2 s it is stopped wherever it is, as one that waits for a lock or without
/// end for a condition, or that works inside another library. It never runs on then, but its stack stays, and so does
/// a lock that it holds: the answer is ZEP_STOPPED_IN_PLACE, and the handle is released all the same.
///
/// A thread that has itself blocked the layer's signal cannot be reached. Then the answer is ZEP_STILL_RUNS, the handle
/// stays valid, and the argument has to live on. The thread sanitizer puts signals off in the same way while a thread
/// waits in a write. For threads that are not soon met at a place to leave, the layer handles SIGTRAP during the call,
/// and hands on what is not its own.
///
/// On Windows the thread keeps the descriptors of the process. It is led to its end as soon as it is in the body of its
/// entry, or comes back there from a function that it has called; the destructors of its thread-local objects run then.
/// An exception that leaves that function meanwhile ends the process. After 250 ms a thread that waits in the system is
/// ended there, and those destructors do not run; the answer to one that waits without end is ZEP_OK. After 1 s a read or
/// write in which it is stuck is cancelled, with which its stream fails. After 2 s it is suspended for ever, and the answer
/// is ZEP_STOPPED_IN_PLACE. ZEP_STILL_RUNS is for a thread that the system does not let the layer suspend.
///
/// @return ZEP_OK (also when the thread had ended), ZEP_NO_THREAD, ZEP_UNKNOWN_THREAD, ZEP_OWN_THREAD, ZEP_BUSY,
///         ZEP_STOPPED_IN_PLACE, ZEP_STILL_RUNS
std::uint32_t ZEP_eThreadDelete(std::uint64_t handle);

/// Releases a thread that has ended. If it still runs, waits for its end, for as long as that takes: only then may the
/// caller free what the thread uses. Forces nothing and loses nothing; who cannot wait calls ZEP_eThreadDelete, also
/// from another thread while this call waits.
///
/// @return ZEP_OK, ZEP_NO_THREAD, ZEP_UNKNOWN_THREAD (also when the thread is deleted meanwhile), ZEP_OWN_THREAD,
///         ZEP_STOPPED_IN_PLACE (a delete stopped it meanwhile)
std::uint32_t ZEP_eThreadCleanup(std::uint64_t handle);

} // extern "C"
