#pragma once

#include "figures.h"

#include <pthread.h>

#include <atomic>
#include <cstdint>

namespace common::log::benchmarks {

/// @param call  gets the number of the call; false where it was refused
/// @return how many were refused
template <typename Call>
unsigned int measureBlock(unsigned int calls, Durations & durations, Call const & call)
{
    unsigned int refused = 0;
    for (unsigned int i = 0; i != calls; ++i) {
        std::int64_t const start = nanoseconds();
        bool const isTaken = call(i);
        durations.add(nanoseconds() - start);
        refused += isTaken ? 0 : 1;
    }
    return refused;
}

/// Lets a number of threads go on together. It spins, so that none of them starts late out of a sleep.
class Gate
{
public:
    explicit Gate(unsigned int threads) : m_threads(threads) {}

    void pass()
    {
        unsigned int const round = m_round.load();
        if (m_arrived.fetch_add(1) + 1 == m_threads) {
            m_arrived.store(0);
            m_round.store(round + 1);
        }
        while (m_round.load() == round) {
        }
    }

private:
    unsigned int const m_threads;
    std::atomic<unsigned int> m_arrived{0};
    std::atomic<unsigned int> m_round{0};
};

/// As a thread with a deadline has it: without, the slowest calls are those in which somebody else had the core.
inline bool takeRealTimePriority()
{
    sched_param const priority{80};
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority) == 0;
}

} // namespace common::log::benchmarks
