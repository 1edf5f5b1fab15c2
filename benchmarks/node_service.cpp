// What the node service adds to a call of a node: look-up, account of running calls, and a copy of the value that is
// the client's own. Beside it the node's handler alone. All clients ask the same node, which is their worst case.

#include <common/log/host/node_service.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace comm::nodebus;
using common::log::host::NodeService;

/// Holds three switches, in the form of those of a trace unit, and does nothing else.
class Switches final : public IProviderNode
{
public:
    void onCreate(std::string const &, Variant const *, NodeCallback const & to) override
    {
        to(NB_UNSUPPORTED, nullptr);
    }
    void onRemove(std::string const &, NodeCallback const & to) override { to(NB_UNSUPPORTED, nullptr); }
    void onBrowse(std::string const &, NodeCallback const & to) override { to(NB_OK, nullptr); }
    void onMetadata(std::string const &, NodeCallback const & to) override { to(NB_UNSUPPORTED, nullptr); }
    void onRead(std::string const &, Variant const *, NodeCallback const & callback) override
    {
        unsigned const flags = m_flags.load(std::memory_order_relaxed);
        Variant value;
        (void)value.setValue(std::vector<bool>{(flags & 1U) != 0, (flags & 2U) != 0, (flags & 4U) != 0});
        callback(NB_OK, &value);
    }
    void onWrite(std::string const &, Variant const * data, NodeCallback const & callback) override
    {
        m_flags.store(data->getValue<bool>() ? 7 : 0, std::memory_order_relaxed);
        callback(NB_OK, nullptr);
    }

private:
    std::atomic<unsigned> m_flags{7};
};

std::string const kRoot = "trace/snap/units";
std::string const kUnit = kRoot + "/machine/axis1/control";

/// One service for all threads of all runs, with the addresses that a trace library registers.
struct Served
{
    Switches node;
    NodeService service{nullptr};
    std::unique_ptr<IProvider> provider = service.makeProvider();

    Served()
    {
        for (std::string const & address : {kRoot + "/**", kRoot, std::string("trace/snap/admin/cfg/*")}) {
            (void)provider->registerNode(address, &node);
        }
    }
};
Served & served()
{
    static Served instance;
    return instance;
}

template <typename Call>
void run(benchmark::State & state, Call const & call)
{
    std::int64_t failed = 0;
    for (auto _ : state) {
        failed += call() != NB_OK ? 1 : 0;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["failed"] = static_cast<double>(failed);
}

void readDirectly(benchmark::State & state)
{
    run(state, [] {
        NbResult result = NB_FAILED;
        served().node.onRead(kUnit, nullptr, [&result](NbResult answered, Variant const *) { result = answered; });
        return result;
    });
}

void readThroughService(benchmark::State & state)
{
    run(state, [] { return served().service.read(kUnit).result; });
}

void writeDirectly(benchmark::State & state)
{
    Variant value;
    (void)value.setValue(true);
    run(state, [&value] {
        NbResult result = NB_FAILED;
        served().node.onWrite(kUnit, &value, [&result](NbResult answered, Variant const *) { result = answered; });
        return result;
    });
}

void writeThroughService(benchmark::State & state)
{
    Variant value;
    (void)value.setValue(true);
    run(state, [&value] { return served().service.write(kUnit, &value).result; });
}

BENCHMARK(readDirectly)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(readThroughService)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(writeDirectly)->Threads(1)->Threads(4)->UseRealTime();
BENCHMARK(writeThroughService)->Threads(1)->Threads(4)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
