// What a call of the real-time road costs its thread, beside a floor in the same run: what nobody can leave out of such
// a call. Both run in blocks that alternate, with the queues emptied in between, so that none is ever refused and each
// block meets the same machine.

#include "drained_handler.h"
#include "figures.h"
#include "measured_call.h"
#include "producers.h"
#include "trace_queue.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace common::log;
using namespace common::log::benchmarks;

constexpr unsigned int kWarning = 0x080E0112;
constexpr unsigned int kCalls = 1'000'000; // of each kind, by all producers together

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

/// Pushes a record that is there already: what is left of either of the two above where producers wait for each other.
struct BarePush
{
    trace::TraceQueue & queue;
    trace::DataOfQueue const & record;

    bool operator()(unsigned int /*call*/) const { return queue.push(record); }
};

struct Producer
{
    explicit Producer(unsigned int calls) : road(calls), floor(calls), push(calls) {}

    void add(Producer const & other)
    {
        road.add(other.road);
        floor.add(other.floor);
        push.add(other.push);
        refused += other.refused;
    }

    Durations road;
    Durations floor;
    Durations push;
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
    trace::TraceQueue pushQueue;
    std::vector<Producer> producers(count, Producer(rounds * block));
    Gate gate(count);
    std::atomic<bool> hasPriority{false};

    auto const produce = [&](unsigned int number) {
        hasPriority = takeRealTimePriority();
        Producer & producer = producers[number];
        trace::DataOfQueue record;
        record.dataType = trace::DATA_TRACE;
        std::function<unsigned int()> const kinds[] = {
            [&] { return measureBlock(block, producer.road, RealTimeCall{unit}); },
            [&] {
                return measureBlock(block, producer.floor, FloorCall{clock, floorQueue, record});
            },
            [&] {
                return measureBlock(block, producer.push, BarePush{pushQueue, record});
            },
        };
        trace::DataOfQueue popped;
        for (unsigned int round = 0; round != rounds; ++round) {
            for (unsigned int i = 0; i != std::size(kinds); ++i) {
                gate.pass();
                producer.refused += kinds[(round + i) % std::size(kinds)]();
            }
            gate.pass();
            if (number == 0) {
                drained.drain();
                while (floorQueue.pop(popped) || pushQueue.pop(popped)) {
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
        producers[0].add(producers[number]);
    }
    std::string const suffix = ", producers: " + std::to_string(count);
    std::printf("producers have %s priority\n", hasPriority.load() ? "a real-time" : "no real-time");
    printRow("real-time call" + suffix, producers[0].road);
    printRow("floor" + suffix, producers[0].floor);
    printRow("bare push" + suffix, producers[0].push);
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
