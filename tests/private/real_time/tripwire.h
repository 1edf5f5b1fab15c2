#pragma once

namespace common::log::test {

/// Counts what a thread with a deadline must not call. The program's own malloc family and lock functions stand in
/// front of those of the C library, for every caller: this program, the C++ library and the C library itself.
///
/// Threads    A tripwire counts the calls of its own thread only, from construction to destruction.
/// Not there under sanitizers, whose runtime brings an allocator of its own: the counts stay 0.
class Tripwire
{
public:
    Tripwire() noexcept;
    Tripwire(Tripwire const &) = delete;
    Tripwire & operator=(Tripwire const &) = delete;
    ~Tripwire();

    /// Allocations and releases of memory since construction.
    unsigned long allocations() const noexcept;
    /// Mutexes and reader-writer locks taken, and initialisations of local statics, which are locked as well. What
    /// waits in other ways makes system calls.
    unsigned long locks() const noexcept;
    /// The first of all that counted; null where nothing did.
    char const * first() const noexcept;
};

} // namespace common::log::test
