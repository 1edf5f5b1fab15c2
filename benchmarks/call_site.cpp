// What a call site of the macros costs: one that is switched off beside an empty loop, one that a limit holds back, and
// a record that goes out beside the same one filled in by hand.

#include <common/log/trace.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <iostream>

namespace {

using namespace common::log::trace;

constexpr char const * kTraceComponent = "benchmark";

/// A unit of which the compiler knows nothing at the call.
template <typename Unit>
Unit & unknown(Unit & unit)
{
    Unit * pointer = &unit;
    benchmark::DoNotOptimize(pointer);
    return *pointer;
}

void emptyLoop(benchmark::State & state)
{
    Log log("axis.control", nullptr);
    Log & unit = unknown(log);
    int axis = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(++axis);
        benchmark::ClobberMemory();
    }
    benchmark::DoNotOptimize(&unit);
}
BENCHMARK(emptyLoop)->Name("empty loop");

template <typename Call>
void callSite(benchmark::State & state, bool isEnabled, Call const & call)
{
    Log log("axis.control", nullptr);
    Log & unit = unknown(log);
    unit.setEnablingState(isEnabled);
    int axis = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(++axis);
        call(unit, axis);
        benchmark::ClobberMemory(); // the flag is read again each time
    }
}

void ordinaryOff(benchmark::State & state)
{
    callSite(state, false, [](Log & unit, int axis) { COMMON_LOG_WARNING(unit, "axis %d", axis); });
}
BENCHMARK(ordinaryOff)->Name("off, ordinary");

void realTimeOff(benchmark::State & state)
{
    callSite(state, false, [](Log & unit, int axis) { COMMON_LOG_WARNING_REAL_TIME(unit, "axis %d", axis); });
}
BENCHMARK(realTimeOff)->Name("off, real-time");

void everyNthOff(benchmark::State & state)
{
    callSite(state, false, [](Log & unit, int axis) { COMMON_LOG_WARNING_EVERY_N(unit, 1000, "axis %d", axis); });
}
BENCHMARK(everyNthOff)->Name("off, every n-th");

void countedOff(benchmark::State & state)
{
    CallAccount account;
    CountedLog log("axis.control", nullptr, account);
    CountedLog & unit = unknown(log);
    int axis = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(++axis);
        COMMON_LOG_WARNING(unit, "axis %d", axis);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(countedOff)->Name("off, of a CountedLog");

// A number of calls that no benchmark comes to, so that none but the first goes out.
constexpr std::uint64_t kNever = ~std::uint64_t{0};

void heldBackEveryNth(benchmark::State & state)
{
    callSite(state, true, [](Log & unit, int axis) { COMMON_LOG_WARNING_EVERY_N(unit, kNever, "axis %d", axis); });
}
BENCHMARK(heldBackEveryNth)->Name("held back, every n-th");

void heldBackEvery(benchmark::State & state)
{
    callSite(state, true, [](Log & unit, int axis) { COMMON_LOG_WARNING_EVERY(unit, 1'000'000, "axis %d", axis); });
}
BENCHMARK(heldBackEvery)->Name("held back, once a period");

void heldBackOnce(benchmark::State & state)
{
    callSite(state, true, [](Log & unit, int axis) { COMMON_LOG_WARNING_ONCE(unit, "axis %d", axis); });
}
BENCHMARK(heldBackOnce)->Name("held back, once");

void recordByHand(benchmark::State & state)
{
    callSite(state, true, [](Log & unit, int axis) {
        unit.log(kWarningCode, "benchmark", "machine", "call_site.cpp", "function", 118, "axis %d", axis);
    });
}
BENCHMARK(recordByHand)->Name("record, by hand");

void record(benchmark::State & state)
{
    callSite(state, true, [](Log & unit, int axis) { COMMON_LOG_WARNING(unit, "axis %d", axis); });
}
BENCHMARK(record)->Name("record, by macro");

} // namespace

int main(int argc, char ** argv)
{
    (void)std::cerr.rdbuf(nullptr); // what goes out goes nowhere
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}
