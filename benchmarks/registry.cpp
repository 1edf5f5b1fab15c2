// What it costs to register units one after the other, and how that grows with their number: each new name is held
// against all that are there, and the type file is read for each. Nothing is saved. Switched off as in a host, but for
// errors.

#include "empty_store.h"

#include <common/log/trace.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace common::log::trace;

void registering(benchmark::State & state)
{
    InternalTrace const internalTrace;
    std::vector<std::unique_ptr<Log>> units;
    for (std::int64_t number = 0; number < state.range(0); ++number) {
        std::string const name = "machine.group" + std::to_string(number / 100) + ".unit" + std::to_string(number);
        units.push_back(std::make_unique<Log>(name.c_str(), nullptr));
    }
    std::int64_t refused = 0;
    for (auto _ : state) {
        Manager manager;
        common::log::benchmark::setEmptyStore(manager);
        for (std::unique_ptr<Log> const & unit : units) {
            refused += manager.addTraceUnit(unit.get(), {false, false, true}) != TRACE_OK ? 1 : 0;
        }
    }
    state.counters["refused"] = static_cast<double>(refused);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(registering)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();

} // namespace

BENCHMARK_MAIN();
