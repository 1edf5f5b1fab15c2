// What a call of the real-time road costs its thread, beside a floor in the same run: what nobody can leave out of such
// a call. Both run in blocks that alternate, with the queues emptied in between, so that none is ever refused and each
// block meets the same machine.

#include "drained_handler.h"
#include "figures.h"
#include "measured_call.h"
#include "trace_queue.h"

#include <pthread.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace common::log;
using namespace common::log::benchmarks;

constexpr unsigned int kWarning = 0x080E0112;
constexpr unsigned int kCalls = 1'000'000; // of each kind, by all producers together

/// A changing value, so that the text differs from call to call.
double positionOf(unsigned int call) { return 12.125 + call % 1000; }

struct RealTimeCall
{
    trace::Log & unit;

    bool operator()(unsigned int call) const
    {
        trace::LogParametersExtended const parameters = measuredParameters();
        return unit.logRealTime(kWarning, parameters, 3, positionOf(call), -0.002, "moving") == trace::TRACE_OK;
    }
};

/// Reads the clock, formats into a record and pushes it. The record is not even cleared between two calls.
struct FloorCall
{
    Clock const & clock;
    trace::TraceQueue & queue;
    trace::DataOfQueue & record;

    bool operator()(unsigned int call) const
    {
        record.traceData.timestamp = clock.getTimestamp();
        (void)std::snprintf(record.traceData.message, sizeof record.traceData.message, kMeasuredFormat, 3,
                            positionOf(call), -0.002, "moving");
        return queue.push(record);
    }
};

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
bool takeRealTimePriority()
{
    sched_param const priority{80};
    return pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority) == 0;
}

struct Producer
{
    explicit Producer(unsigned int calls) : road(calls), floor(calls) {}

    Durations road;
    Durations floor;
    unsigned int refused = 0;
};

void measureProducers(unsigned int count)
{
    unsigned int const block = 3000 / count;
    unsigned int const rounds = kCalls / count / block;
    DrainedHandler drained;
    trace::Log unit("axis.control", drained.handler());
    unit.setEnablingState(true);
    Clock const clock(CLOCK_ID_WALL);
    trace::TraceQueue floorQueue;
    std::vector<Producer> producers(count, Producer(rounds * block));
    Gate gate(count);
    std::atomic<bool> hasPriority{false};

    auto const produce = [&](unsigned int number) {
        hasPriority = takeRealTimePriority();
        Producer & producer = producers[number];
        trace::DataOfQueue record;
        record.dataType = trace::DATA_TRACE;
        auto const road = [&] { producer.refused += measureBlock(block, producer.road, RealTimeCall{unit}); };
        auto const floor = [&] {
            producer.refused += measureBlock(block, producer.floor, FloorCall{clock, floorQueue, record});
        };
        trace::DataOfQueue popped;
        for (unsigned int round = 0; round != rounds; ++round) {
            gate.pass();
            round % 2 == 0 ? road() : floor();
            gate.pass();
            round % 2 == 0 ? floor() : road();
            gate.pass();
            if (number == 0) {
                drained.drain();
                while (floorQueue.pop(popped)) {
                }
            }
        }
    };
    std::vector<std::thread> others;
    for (unsigned int number = 1; number != count; ++number) {
        others.emplace_back(produce, number);
    }
    others.emplace_back(produce, 0);
    for (std::thread & other : others) {
        other.join();
    }
    for (unsigned int number = 1; number != count; ++number) {
        producers[0].road.add(producers[number].road);
        producers[0].floor.add(producers[number].floor);
        producers[0].refused += producers[number].refused;
    }
    std::string const suffix = ", producers: " + std::to_string(count);
    std::printf("producers have %s priority\n", hasPriority.load() ? "a real-time" : "no real-time");
    printRow("real-time call" + suffix, producers[0].road);
    printRow("floor" + suffix, producers[0].floor);
    printRatio("call / floor", producers[0].road, producers[0].floor);
    std::printf("%-36s%11u\n\n", "refused", producers[0].refused);
}

/// Too short for one reading of a clock each: a duration is that of a thousand calls.
void measureDisabled()
{
    constexpr unsigned int kDisabledBlock = 1000;
    constexpr unsigned int kDisabledBlocks = 20'000;
    trace::Log unit("axis.silent", nullptr);
    trace::LogParametersExtended parameters;
    parameters.format = kMeasuredFormat;
    trace::ILogRealTime & called = unit;
    unsigned int passed = 0;
    Durations durations(kDisabledBlocks);
    for (unsigned int block = 0; block != kDisabledBlocks; ++block) {
        std::int64_t const start = nanoseconds();
        for (unsigned int i = 0; i != kDisabledBlock; ++i) {
            passed += called.logRealTime(kWarning, parameters, 3, 12.125, -0.002, "moving") != trace::TRACE_DISABLED
                          ? 1U
                          : 0U;
        }
        durations.add(nanoseconds() - start);
    }
    std::printf("%-36s%11.2f at p50, %.2f at best, passed %u\n", "disabled real-time call, mean of 1000",
                durations.percentile(0.5) / kDisabledBlock, durations.percentile(0) / kDisabledBlock, passed);
}

} // namespace

int main()
{
    (void)std::cerr.rdbuf(nullptr); // what is drained goes nowhere
    printHeader("real_time_road");
    std::printf("nanoseconds, by clock_gettime(CLOCK_MONOTONIC), whose own cost is in every figure\n\n");
    std::printf("%-36s%11s%11s%11s%11s\n", "", "p50", "p99", "p99.9", "worst");
    Durations timer(kCalls);
    (void)measureBlock(kCalls, timer, [](unsigned int) { return true; });
    printRow("the timer alone", timer);
    std::printf("\n");
    measureProducers(1);
    measureProducers(2);
    measureDisabled();
    return EXIT_SUCCESS;
}
