// What it costs to register units that all have a saved state: each asks the store anew, and looks for itself in all that
// is saved. With a store that has read nothing yet, from a file that is old, or that was saved just before.

#include <common/log/host/file_store.h>
#include <common/log/trace.h>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <stdlib.h>

namespace {

using namespace common::log::trace;
using common::log::host::FileStore;

constexpr EnablingState kGiven{false, false, true};
constexpr EnablingState kSaved{true, true, false};

struct Machine
{
    explicit Machine(std::string const & directory) : store(directory)
    {
        manager.setBundleRootPath(COMMON_LOG_TRACE_BUNDLE_ROOT);
        manager.setPersistenceHelper(store.helper());
    }

    FileStore store;
    Manager manager;
};

void registeringSaved(benchmark::State & state)
{
    std::string directory = (std::filesystem::temp_directory_path() / "saved_registry_XXXXXX").string();
    if (::mkdtemp(directory.data()) == nullptr) {
        state.SkipWithError("no folder for the saved file");
        return;
    }
    InternalTrace const internalTrace;
    std::vector<std::unique_ptr<Log>> units;
    Machine saving(directory);
    for (std::int64_t number = 0; number < state.range(0); ++number) {
        std::string const name = "machine.group" + std::to_string(number / 100) + ".unit" + std::to_string(number);
        units.push_back(std::make_unique<Log>(name.c_str(), nullptr));
        (void)saving.manager.addTraceUnit(units.back().get(), kGiven);
    }
    (void)saving.manager.setEnablingStateAllTraceUnits(kSaved);
    std::int64_t failures = saving.manager.saveEnablingStatesAllTraceUnits({}) == TRACE_OK ? 0 : 1;
    for (auto _ : state) {
        state.PauseTiming();
        if (state.range(1) != 0) {
            failures += saving.manager.saveEnablingStatesAllTraceUnits({}) == TRACE_OK ? 0 : 1;
        }
        auto starting = std::make_unique<Machine>(directory);
        state.ResumeTiming();
        for (std::unique_ptr<Log> const & unit : units) {
            failures += starting->manager.addTraceUnit(unit.get(), kGiven) == TRACE_OK ? 0 : 1;
            failures += unit->getEnablingState().messages ? 0 : 1;
        }
    }
    state.counters["failures"] = static_cast<double>(failures);
    std::filesystem::remove_all(directory);
}
BENCHMARK(registeringSaved)
    ->ArgNames({"units", "justSaved"})
    ->ArgsProduct({{10, 100, 1000}, {0, 1}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace

BENCHMARK_MAIN();
