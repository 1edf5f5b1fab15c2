#include "host.h"

#include "cycle.h"
#include "duration.h"
#include "end_guard.h"
#include "inputs.h"
#include "load.h"
#include "privileges.h"
#include "signals.h"
#include "summary.h"
#include "traced_unit.h"
#include "unit_names.h"

#include <common/log/host/fatal_signals.h>
#include <common/log/host/record_tap.h>

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <memory>
#include <numeric>
#include <unistd.h>
#include <vector>

namespace tracehost {

namespace {

using common::log::host::RecordTap;

/// For the records of the start, so that they stand ahead of all others.
constexpr std::chrono::seconds kStartLimit(1);

/// The last line of the summary where the end got stuck.
constexpr char const * kStalled = "The error stream takes nothing: what was still to be written is lost.\n";

/// The trace units of a run, in the order in which they were made, and the handler behind them. They outlive the
/// threads that call them.
class Units
{
public:
    Units(std::vector<StateRule> const & rules, RecordAccount & account)
        : m_rules(rules), m_handler(std::make_shared<common::log::trace::Handler>()), m_account(account)
    {}

    TracedUnit & add(std::string const & name, char const * componentName)
    {
        return m_units.emplace_back(name, componentName, stateOfUnit(m_rules, name), m_handler, m_account);
    }

private:
    std::vector<StateRule> const & m_rules;
    std::shared_ptr<common::log::trace::Handler> m_handler;
    RecordAccount & m_account;
    std::deque<TracedUnit> m_units;
};

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

/// Changes with whatever becomes of a record on the stream.
std::uint64_t progressOf(RecordTap const & tap)
{
    auto const account = tap.account();
    return std::accumulate(account.lost.begin(), account.lost.end(), account.bytes);
}

} // namespace

// Not in the namespace without a name, which would stand in the records.
static void traceStart(TracedUnit & unit, Options const & options, std::string const & refusals)
{
    if (!refusals.empty()) {
        TRACEHOST_TRACE(unit, Severity::warning, "Running without %s", refusals.c_str());
    }
    TRACEHOST_TRACE(unit, Severity::message, "Version %s: period %s, load threads %u, followed files %zu",
                    TRACEHOST_VERSION, durationText(options.period).c_str(), options.loadThreads, options.files.size());
}

int runHost(Options const & options)
{
    Signals const signals;
    common::log::host::FatalSignals const fatalSignals({"tracehost"});
    RecordAccount account;
    std::string summary;
    {
        RecordTap const tap;
        common::log::trace::InternalTrace const internalTrace;
        auto units = std::make_unique<Units>(options.states, account);
        Inputs inputs;
        if (::isatty(STDIN_FILENO) == 0) {
            inputs.addStandardInput(units->add(kInputStdin, "input"));
        }
        for (FollowedFile const & file : options.files) {
            inputs.addFile(file.path, units->add(file.unitName, "input"));
        }
        Cycle cycle({options.period, options.warnAbove, options.errorAbove}, units->add(kCycleWakeup, "cycle"),
                    units->add(kCycleSummary, "cycle"));
        HostThread starter;
        {
            Load const load(options.loadThreads);
            std::string const refusals = acquirePrivileges(cycle.thread().handle(), {options.priority, options.cpu});
            // On a thread of its own, since this one has to take signals: the stream may be stalled from the start.
            TracedUnit & start = units->add(kHostStart, "host");
            starter.start([&start, &options, refusals] { traceStart(start, options, refusals); });
            (void)starter.waitFor(kStartLimit);
            inputs.start();
            cycle.begin();
            waitForEnd(signals, options.duration, inputs);
            signals.endAtOnce();
        }
        cycle.stop();
        cycle.thread().join(); // it never waits for the stream, unlike all that follows
        auto const summarize = [&] { return summaryText(cycle, account.counts(), tap.account(), inputs.lines()); };
        EndGuard const guard([&tap] { return progressOf(tap); },
                             [&summarize] {
                                 (void)writeSummary(summarize() + kStalled);
                                 std::_Exit(1);
                             });
        inputs.stop();
        inputs.thread().join();
        starter.join();
        units.reset(); // with them the handler, which writes what is queued
        summary = summarize();
    }
    return writeSummary(summary) ? 0 : 1;
}

} // namespace tracehost
