#include "outward.h"

#include "descriptor.h"
#include "figures.h"

#include <common/log/host/fatal_signals.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <utility>

namespace tracehost {

using namespace common::log::host;

namespace {

constexpr std::chrono::milliseconds kBatchPeriod(2);
constexpr std::chrono::seconds kRingPatience(1);
constexpr std::chrono::milliseconds kRingPause(5);

} // namespace

std::shared_ptr<void> watchFatalSignals() { return std::make_shared<FatalSignals>(FatalSignalOptions{"tracehost"}); }

std::shared_ptr<RecordRing> openRing(Options const & options, Refusals & refusals)
{
    if (options.ringBytes == 0) {
        return nullptr;
    }
    for (auto const limit = std::chrono::steady_clock::now() + kRingPatience;;) {
        try {
            std::filesystem::create_directories(options.stateDirectory);
            return std::make_shared<RecordRing>(options.stateDirectory + "/records.ring",
                                                RecordRingOptions{options.ringBytes});
        } catch (std::system_error const & failure) {
            // Of two that start at once, the one without the ring must not come first to the door: it waits until the
            // other one has opened that, or has given the ring back.
            bool const isOfOther = failure.code() == std::errc::device_or_resource_busy && !options.socket.empty();
            if (!isOfOther || isListenedTo(options.socket) || std::chrono::steady_clock::now() > limit) {
                refusals.push_back(std::string("the ring of records: ") + failure.what());
                return nullptr;
            }
        }
        std::this_thread::sleep_for(kRingPause);
    }
}

RecordTapOptions tapOptions(RecordCensus & census, RecordRing * ring)
{
    RecordTapOptions options;
    options.sinks = {[&census](TappedRecord const & record) { census.see(record); }};
    if (ring != nullptr) {
        options.sinks.emplace_back([ring](TappedRecord const & record) { ring->add(record); });
        options.batchPeriod = kBatchPeriod;
    }
    return options;
}

std::shared_ptr<Door> openDoor(Options const & options, TraceSystem & system, Sights const & sights,
                               Refusals & refusals)
{
    if (options.socket.empty()) {
        return nullptr;
    }
    DoorHost host;
    host.program = "tracehost";
    host.version = TRACEHOST_VERSION;
    host.units = [&system] {
        std::vector<DoorUnit> units;
        for (TraceSystem::UnitState const & unit : system.states()) {
            units.push_back({unit.name, unit.given, unit.saved});
        }
        return units;
    };
    host.figures = [&tap = sights.tap, &calls = sights.calls] { return figuresOf(calls.counts(), tap.account()); };
    host.forget = [&system] {
        auto const result = system.forgetStates();
        if (isFailure(result) && result != common::log::trace::TRACE_NO_SAVED_DATA) {
            throw std::runtime_error("The store cannot delete what is saved");
        }
        return !isFailure(result);
    };
    std::string const ringPath = sights.ring != nullptr ? sights.ring->path() : "";
    try {
        return std::make_shared<Door>(DoorOptions{options.socket, ringPath}, std::move(host), system.service(),
                                      system.switches(), sights.census);
    } catch (DoorIsTaken const &) {
        throw;
    } catch (std::runtime_error const & failure) {
        refusals.push_back(std::string("a door: ") + failure.what());
        return nullptr;
    }
}

} // namespace tracehost
