#include "host.h"

#include "cycle.h"
#include "end_guard.h"
#include "inputs.h"
#include "load.h"
#include "loss_watch.h"
#include "node_tree.h"
#include "outward.h"
#include "privileges.h"
#include "signals.h"
#include "summary.h"
#include "system.h"
#include "trace_system.h"
#include "unit_names.h"

#include <common/log/host/duration_text.h>
#include <common/log/host/record_census.h>
#include <common/log/host/record_tap.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

namespace tracehost {

constexpr char const * kTraceComponent = "host";

namespace {

using common::log::host::RecordCensus;
using common::log::host::RecordTap;
using common::log::trace::CountedLog;

/// For the records of the start, so that they stand ahead of all others.
constexpr std::chrono::seconds kStartLimit(1);

/// The last line of the summary where the end got stuck.
constexpr char const * kStalled = "The error stream takes nothing: what was still to be written is lost.\n";

void waitForEnd(Signals const & signals, std::chrono::nanoseconds duration, Inputs & inputs)
{
    std::optional<std::chrono::steady_clock::time_point> end;
    if (duration != std::chrono::nanoseconds(0)) {
        end = std::chrono::steady_clock::now() + duration;
    }
    while (signals.waitUntil(end) == Signals::Wish::reopen) {
        inputs.reopenFiles();
    }
}

/// The units of this program, in the order in which they are registered.
struct Units
{
    CountedLog * standardInput = nullptr; ///< null where that is a terminal
    std::vector<CountedLog *> files;      ///< one for each followed file
    CountedLog * wakeup = nullptr;
    CountedLog * summary = nullptr;
    CountedLog * loss = nullptr;
    CountedLog * start = nullptr;
};

Units addUnits(TraceSystem & system, Options const & options)
{
    Units units;
    if (!isTerminal(0)) {
        units.standardInput = &system.add(kInputStdin);
    }
    for (FollowedFile const & file : options.files) {
        units.files.push_back(&system.add(file.unitName));
    }
    units.wakeup = &system.add(kCycleWakeup);
    units.summary = &system.add(kCycleSummary);
    units.loss = &system.add(kHostLoss);
    units.start = &system.add(kHostStart);
    return units;
}

/// Changes with whatever becomes of a record on the stream.
std::uint64_t progressOf(RecordTap const & tap)
{
    auto const account = tap.account();
    return account.bytes + account.lostAltogether();
}

/// Waits until each record that came to the stream was written or lost. The guard of the end ends this too.
void waitForStream(RecordTap const & tap)
{
    for (auto account = tap.account(); account.records > account.written + account.lostAltogether();
         account = tap.account()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

} // namespace

// Not in the namespace without a name, which would stand in the records.
static void traceStart(CountedLog & unit, Options const & options, Refusals const & refusals)
{
    for (std::string const & refusal : refusals) {
        COMMON_LOG_WARNING(unit, "Running without %s", refusal.c_str());
    }
    COMMON_LOG_MESSAGE(unit, "Version %s: period %s, load threads %u, followed files %zu", TRACEHOST_VERSION,
                       common::log::host::durationText(options.period).c_str(), options.loadThreads,
                       options.files.size());
}

int runHost(Options const & options)
{
    Signals const signals;
    std::shared_ptr<void> const fatalSignals = watchFatalSignals();
    common::log::trace::CallAccount calls;
    RecordCensus census;
    Refusals refusals;
    auto const ring = openRing(options, refusals);
    std::string summary;
    Account account;
    bool isSaved = true;
    {
        RecordTap const tap(tapOptions(census, ring.get()));
        auto system = std::make_unique<TraceSystem>(options, calls);
        Units const units = addUnits(*system, options);
        auto door = openDoor(options, *system, {ring.get(), census, tap, calls}, refusals);
        Inputs inputs;
        if (units.standardInput != nullptr) {
            inputs.addStandardInput(*units.standardInput);
        }
        for (std::size_t i = 0; i < options.files.size(); ++i) {
            inputs.addFile(options.files[i].path, *units.files[i]);
        }
        Cycle cycle({options.period, options.warnAbove, options.errorAbove}, *units.wakeup, *units.summary);
        LossWatch lossWatch(*units.loss, [&calls, &tap] {
            return LossWatch::Losses{calls.counts().refused, tap.account().lostAltogether()};
        });
        HostThread starter;
        {
            Load const load(options.loadThreads);
            std::string const rights = acquirePrivileges(cycle.thread().handle(), {options.priority, options.cpu});
            if (!rights.empty()) {
                refusals.push_back(rights);
            }
            // On a thread of its own, since this one has to take signals: the stream may be stalled from the start.
            starter.start([&start = *units.start, &options, &refusals] { traceStart(start, options, refusals); });
            (void)starter.waitFor(kStartLimit);
            inputs.start();
            lossWatch.start();
            cycle.begin();
            waitForEnd(signals, options.duration, inputs);
            signals.endAtOnce();
        }
        cycle.stop();
        cycle.thread().join(); // it never waits for the stream, unlike all that follows
        auto const summarize = [&] {
            std::uint64_t const ofLibrary = census.of(kOwnUnit).altogether();
            account = {calls.counts(), tap.account(), census.sum().altogether() - ofLibrary, ofLibrary};
            return summaryText(cycle, account, inputs.lines());
        };
        EndGuard const guard([&tap] { return progressOf(tap); },
                             [&summarize] {
                                 (void)writeSummary(summarize() + kStalled);
                                 std::_Exit(1);
                             });
        door.reset();
        inputs.stop();
        inputs.thread().join();
        starter.join();
        lossWatch.stop();
        lossWatch.thread().join();
        isSaved = !options.isSaving || system->saveStates();
        system.reset(); // with it the handler, which writes what is queued
        waitForStream(tap);
        summary = summarize();
    }
    return writeSummary(summary) && account.addsUp() && isSaved ? 0 : 1;
}

Answer answerOf(Options const & options)
{
    RecordTap const tap; // the worker of the handler has something to say of its start and its end
    common::log::trace::CallAccount calls;
    TraceSystem system(options, calls);
    (void)addUnits(system, options);
    switch (options.mode) {
    case Mode::list:
        return {unitTable(system.states()), true};
    case Mode::tree:
        return {nodeTree(system.service()), true};
    default:
        break;
    }
    common::log::trace::TraceResult const result = system.forgetStates();
    if (result == common::log::trace::TRACE_NO_SAVED_DATA) {
        return {"Nothing was saved in " + options.stateDirectory + "\n", true};
    }
    bool const isDone = !isFailure(result);
    return {isDone ? "Deleted the states that were saved in " + options.stateDirectory + "\n" : "", isDone};
}

} // namespace tracehost
