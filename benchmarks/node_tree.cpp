// What a request to the tree of enabling states costs, and how that grows with the number of units: each one copies the
// table and walks it, also for a single unit. Groups have 100 units, or all where there are fewer. The library's own
// reports are switched off but for errors, as in a host.

#include "empty_store.h"

#include <common/log/trace.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace common::log::trace;
using comm::nodebus::NodeCallback;

/// Registered while it lives.
class Tree
{
public:
    explicit Tree(std::int64_t size)
    {
        common::log::benchmark::setEmptyStore(*manager);
        for (std::int64_t number = 0; number < size; ++number) {
            std::string const name = "machine.group" + std::to_string(number / 100) + ".unit" + std::to_string(number);
            m_units.push_back(std::make_unique<Log>(name.c_str(), nullptr));
            m_refused += manager->addTraceUnit(m_units.back().get(), {false, false, true}) != TRACE_OK ? 1 : 0;
        }
    }

    /// Counts what was not answered as it should be; a figure with such answers means nothing.
    NodeCallback const callback = [this](comm::nodebus::NbResult result, comm::nodebus::Variant const * /*value*/) {
        m_refused += result != comm::nodebus::NB_OK ? 1 : 0;
    };
    double refused() const { return static_cast<double>(m_refused); }

    InternalTrace const internalTrace;
    std::shared_ptr<Manager> const manager = std::make_shared<Manager>();
    EnablingStatesProviderNode node{manager, "trace/machine/units"};

private:
    std::vector<std::unique_ptr<Log>> m_units;
    std::int64_t m_refused = 0;
};

template <typename Operation>
void ask(benchmark::State & state, char const * below, Operation const & operation)
{
    Tree tree(state.range(0));
    std::string const address = std::string("trace/machine/units") + below;
    for (auto _ : state) {
        operation(tree.node, address, tree.callback);
    }
    state.counters["refused"] = tree.refused();
    state.SetComplexityN(state.range(0));
}

void browse(benchmark::State & state, char const * below)
{
    ask(state, below,
        [](auto & node, auto const & address, auto const & callback) { node.onBrowse(address, callback); });
}

void read(benchmark::State & state, char const * below)
{
    ask(state, below,
        [](auto & node, auto const & address, auto const & callback) { node.onRead(address, nullptr, callback); });
}

void write(benchmark::State & state, char const * below)
{
    comm::nodebus::Variant value;
    (void)value.setValue({true, false, true});
    ask(state, below, [&value](auto & node, auto const & address, auto const & callback) {
        node.onWrite(address, &value, callback);
    });
}

void withGrowth(benchmark::internal::Benchmark * measured)
{
    measured->Arg(10)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond)->Complexity(benchmark::oN);
}

constexpr char const * kRoot = "";
constexpr char const * kGroup = "/machine/group0";
constexpr char const * kLeaf = "/machine/group0/unit7";
BENCHMARK_CAPTURE(browse, root, kRoot)->Apply(withGrowth);
BENCHMARK_CAPTURE(browse, group, kGroup)->Apply(withGrowth);
BENCHMARK_CAPTURE(browse, leaf, kLeaf)->Apply(withGrowth);
BENCHMARK_CAPTURE(read, root, kRoot)->Apply(withGrowth);
BENCHMARK_CAPTURE(read, group, kGroup)->Apply(withGrowth);
BENCHMARK_CAPTURE(read, leaf, kLeaf)->Apply(withGrowth);
BENCHMARK_CAPTURE(write, root, kRoot)->Apply(withGrowth);
BENCHMARK_CAPTURE(write, group, kGroup)->Apply(withGrowth);
BENCHMARK_CAPTURE(write, leaf, kLeaf)->Apply(withGrowth);

} // namespace

BENCHMARK_MAIN();
