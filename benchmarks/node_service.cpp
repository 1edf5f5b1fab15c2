// What the node service adds to a call of a node: look-up, account of running calls, and a copy of the value that is
// the client's own. Beside it the node's handler alone. All clients ask the same node, which is their worst case.

#include "empty_store.h"

#include <common/log/host/node_service.h>
#include <common/log/trace.h>

#include <benchmark/benchmark.h>

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace comm::nodebus;
using namespace common::log::trace;
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
std::string const kUnit = kRoot + "/machine/axis7/control";

/// The trace library's own node, above as many units as a host with some axes has.
struct Units
{
    InternalTrace internalTrace;
    std::shared_ptr<Manager> manager = std::make_shared<Manager>();
    std::vector<std::unique_ptr<Log>> units;
    EnablingStatesProviderNode node{manager, kRoot};

    Units()
    {
        common::log::benchmark::setEmptyStore(*manager);
        for (int axis = 0; axis < 20; ++axis) {
            for (char const * part : {"control", "drive", "encoder", "limits", "path"}) {
                std::string const name = "machine.axis" + std::to_string(axis) + "." + part;
                units.push_back(std::make_unique<Log>(name.c_str(), nullptr));
                (void)manager->addTraceUnit(units.back().get(), {true, true, true});
            }
        }
    }
};

/// One for all threads of all runs, with the addresses that a trace library registers.
struct Served
{
    explicit Served(IProviderNode & servedNode) : node(servedNode)
    {
        for (std::string const & address : {kRoot + "/**", kRoot, std::string("trace/snap/admin/cfg/*")}) {
            (void)provider->registerNode(address, &node);
        }
    }

    IProviderNode & node;
    NodeService service{nullptr};
    std::unique_ptr<IProvider> provider = service.makeProvider();
};

Served & trivial()
{
    static Switches node;
    static Served served(node);
    return served;
}
Served & units()
{
    static Units hundred;
    static Served served(hundred.node);
    return served;
}

template <typename Call>
void run(benchmark::State & state, Call const & call)
{
    std::int64_t failed = 0;
    for (auto _ : state) {
        failed += call() != NB_OK ? 1 : 0;
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["failed"] = static_cast<double>(failed); // above 0 the figure means nothing
}

void readDirectly(benchmark::State & state, Served & (*instance)())
{
    run(state, [&node = instance().node] {
        NbResult result = NB_FAILED;
        node.onRead(kUnit, nullptr, [&result](NbResult answered, Variant const *) { result = answered; });
        return result;
    });
}

void readThroughService(benchmark::State & state, Served & (*instance)())
{
    run(state, [&service = instance().service] { return service.read(kUnit).result; });
}

void writeDirectly(benchmark::State & state, Served & (*instance)())
{
    Variant value;
    (void)value.setValue(true);
    run(state, [&value, &node = instance().node] {
        NbResult result = NB_FAILED;
        node.onWrite(kUnit, &value, [&result](NbResult answered, Variant const *) { result = answered; });
        return result;
    });
}

void writeThroughService(benchmark::State & state, Served & (*instance)())
{
    Variant value;
    (void)value.setValue(true);
    run(state, [&value, &service = instance().service] { return service.write(kUnit, &value).result; });
}

void byOneAndByFour(benchmark::internal::Benchmark * measured) { measured->Threads(1)->Threads(4)->UseRealTime(); }

BENCHMARK_CAPTURE(readDirectly, trivial, trivial)->Apply(byOneAndByFour);
BENCHMARK_CAPTURE(readThroughService, trivial, trivial)->Apply(byOneAndByFour);
BENCHMARK_CAPTURE(writeDirectly, trivial, trivial)->Apply(byOneAndByFour);
BENCHMARK_CAPTURE(writeThroughService, trivial, trivial)->Apply(byOneAndByFour);
BENCHMARK_CAPTURE(readDirectly, hundredUnits, units)->Apply(byOneAndByFour);
BENCHMARK_CAPTURE(readThroughService, hundredUnits, units)->Apply(byOneAndByFour);
BENCHMARK_CAPTURE(writeDirectly, hundredUnits, units)->Apply(byOneAndByFour);
BENCHMARK_CAPTURE(writeThroughService, hundredUnits, units)->Apply(byOneAndByFour);

} // namespace

BENCHMARK_MAIN();
