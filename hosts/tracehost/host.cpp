#include "host.h"

#include "cycle.h"
#include "duration.h"
#include "inputs.h"
#include "load.h"
#include "privileges.h"
#include "signals.h"
#include "summary.h"
#include "traced_unit.h"
#include "unit_names.h"

#include <algorithm>
#include <deque>
#include <unistd.h>
#include <vector>

namespace tracehost {

namespace {

/// At the end of the run, what is there by then is still traced. Only who gets no record out for this long waits for a
/// reader of the error stream that has stopped, and is interrupted.
constexpr std::chrono::seconds kStallLimit(3);

constexpr std::chrono::milliseconds kInterruptInterval(10);

/// For the records of the start, so that they stand ahead of all others.
constexpr std::chrono::seconds kStartLimit(1);

/// The trace units of a run, in the order in which they were made. They outlive the threads that call them.
class Units
{
public:
    Units(std::vector<StateRule> const & rules, RecordAccount & account) : m_rules(rules), m_account(account) {}

    TracedUnit & add(std::string const & name, char const * componentName)
    {
        return m_units.emplace_back(name, componentName, stateOfUnit(m_rules, name), m_account);
    }

private:
    std::vector<StateRule> const & m_rules;
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

void endThreads(std::vector<HostThread *> const & threads, Cycle & cycle, Inputs & inputs,
                RecordAccount const & account)
{
    cycle.stop();
    inputs.stop();
    std::uint64_t calls = account.counts().calls();
    auto lastProgress = std::chrono::steady_clock::now();
    bool isStalled = false;
    auto const hasEnded = [](HostThread const * thread) { return thread->waitFor(kInterruptInterval); };
    while (!std::all_of(threads.begin(), threads.end(), hasEnded)) {
        auto const now = std::chrono::steady_clock::now();
        if (std::uint64_t const callsByNow = account.counts().calls(); callsByNow != calls) {
            calls = callsByNow;
            lastProgress = now;
        }
        isStalled = isStalled || now - lastProgress > kStallLimit;
        if (isStalled) {
            inputs.abandon();
            // All of them: whichever holds the stream keeps the others waiting.
            for (HostThread * const thread : threads) {
                thread->interrupt();
            }
        }
    }
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
    HostThread::prepare();
    common::log::trace::InternalTrace const internalTrace;
    RecordAccount account;
    Units units(options.states, account);

    Inputs inputs;
    if (::isatty(STDIN_FILENO) == 0) {
        inputs.addStandardInput(units.add(kInputStdin, "input"));
    }
    for (FollowedFile const & file : options.files) {
        inputs.addFile(file.path, units.add(file.unitName, "input"));
    }
    Cycle cycle({options.period, options.warnAbove, options.errorAbove}, units.add(kCycleWakeup, "cycle"),
                units.add(kCycleSummary, "cycle"));
    {
        Load const load(options.loadThreads);
        std::string const refusals = acquirePrivileges(cycle.thread().handle(), {options.priority, options.cpu});
        // On a thread of its own, since this one has to take signals: the stream may be stalled from the start.
        TracedUnit & start = units.add(kHostStart, "host");
        HostThread starter;
        starter.start([&] { traceStart(start, options, refusals); });
        (void)starter.waitFor(kStartLimit);
        inputs.start();
        cycle.begin();
        waitForEnd(signals, options.duration, inputs);
        signals.endAtOnce();
        endThreads({&starter, &inputs.thread(), &cycle.thread()}, cycle, inputs, account);
    }
    std::string const summary = summaryText(cycle.lateness(), cycle.missed(), account.counts(), inputs.lines());
    return writeSummary(summary) ? 0 : 1;
}

} // namespace tracehost
