// The highest paced rate of real-time calls at which nothing is lost: one producer with a cycle of 1 ms, the real
// worker, and the tap in front of the null device. The queue's 3200 entries and the worker's pause of 10 ms allow for
// 320,000 a second, less what the worker needs for a drain and how late it wakes.
//
// paced_rate RATE SECONDS runs at that rate alone, for so long, and shows what the machine does to a thread that sleeps as
// the worker does. Status 1 where a record was refused or lost, or where the pace was not kept.

#include "figures.h"
#include "measured_call.h"
#include "producers.h"
#include "trace_queue.h"

#include <common/log/host/record_tap.h>
#include <common/log/trace.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace common::log;
using namespace common::log::benchmarks;

constexpr unsigned int kWarning = 0x080E0112;
constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kSearchTime = kSecond / 2;
constexpr std::int64_t kConfirmTime = 10 * kSecond;
constexpr unsigned int kStep = 2000; // the search ends when it knows the rate this closely

constexpr std::int64_t kPeriod = kSecond / 1000;

struct Run
{
    unsigned long sent = 0;
    unsigned long refused = 0;
    double kept = 0; ///< share of the calls that the pace asked for
};

/// Calls as a cyclic task does, in equal numbers each millisecond. A cycle that begins late is made good at once, but
/// not one that is missed as a whole: that would test the scheduler and not the queue.
Run run(trace::Log & unit, unsigned int rate, std::int64_t duration)
{
    trace::LogParametersExtended const parameters = measuredParameters();

    Run run;
    std::int64_t const start = nanoseconds();
    for (std::int64_t due = start; due - start < duration; due += kPeriod) {
        timespec const wakeup{due / kSecond, due % kSecond};
        (void)clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &wakeup, nullptr);
        for (unsigned int i = 0; i != rate / 1000; ++i) {
            ++run.sent;
            run.refused +=
                unit.logRealTime(kWarning, parameters, 3, 12.125, -0.002, "moving") != trace::TRACE_OK ? 1U : 0U;
        }
        std::int64_t const missed = (nanoseconds() - due) / kPeriod - 1;
        due += missed > 0 ? missed * kPeriod : 0;
    }
    run.kept = static_cast<double>(run.sent) * kSecond / static_cast<double>(duration) / rate;
    return run;
}

/// A run with a handler of its own, so that none begins with the entries of another.
Run runAfresh(unsigned int rate, std::int64_t duration)
{
    trace::Log unit("axis.control", std::make_shared<trace::Handler>());
    unit.setEnablingState(true);
    return run(unit, rate, duration);
}

/// Whether the pace was kept, but for a hundredth, and nothing lost.
bool isGood(Run const & run) { return run.refused == 0 && run.kept > 0.99; }

void printPriority(bool isRealTime)
{
    std::printf("producer with a cycle of 1 ms and %s priority\n\n", isRealTime ? "a real-time" : "no real-time");
}

void printRun(char const * name, unsigned int rate, std::int64_t duration, Run const & run)
{
    std::printf("%-16s%9u a second for %lld s: sent %8lu, which is %5.1f %%, refused %lu\n", name, rate,
                static_cast<long long>(duration / kSecond), run.sent, run.kept * 100, run.refused);
    (void)std::fflush(stdout);
}

void findRate(char const * name)
{
    unsigned int good = 0;
    unsigned int bad = 800'000;
    while (bad - good > kStep) {
        unsigned int const rate = good + (bad - good) / 2;
        (isGood(runAfresh(rate, kSearchTime)) ? good : bad) = rate;
    }
    // What half a second lets pass, ten may not: each failure goes a tenth lower.
    for (unsigned int rate = good; rate > kStep; rate -= rate / 10) {
        Run const confirmed = runAfresh(rate, kConfirmTime);
        printRun(name, rate, kConfirmTime, confirmed);
        if (isGood(confirmed)) {
            return;
        }
    }
}

bool isWhole(host::RecordTapAccount const & account)
{
    std::printf("written by the tap: %llu of %llu\n", static_cast<unsigned long long>(account.written),
                static_cast<unsigned long long>(account.records));
    return account.written == account.records;
}

/// A thread that only sleeps, for the worker's pause each time, and counts where it woke so late that a full cycle more
/// would not find room in the queue. It says how much of a loss is the machine's.
class Sleeper
{
public:
    explicit Sleeper(unsigned int rate) : m_slack(std::int64_t{trace::kQueueSize} * kSecond / rate - kPause - kPeriod)
    {}

    void sleep(std::atomic<bool> const & isOver)
    {
        while (!isOver.load()) {
            std::int64_t const begin = nanoseconds();
            std::this_thread::sleep_for(std::chrono::nanoseconds(kPause));
            std::int64_t const late = nanoseconds() - begin - kPause;
            m_tooLate += late > m_slack ? 1U : 0U;
            m_worst = std::max(m_worst, late);
            ++m_all;
        }
    }

    void print() const
    {
        std::printf("a thread that sleeps for %lld ms woke more than %.1f ms late %lu times of %lu, worst %.1f ms\n",
                    static_cast<long long>(kPause / kMillisecond), static_cast<double>(m_slack) / kMillisecond,
                    m_tooLate, m_all, static_cast<double>(m_worst) / kMillisecond);
    }

private:
    static constexpr std::int64_t kMillisecond = kSecond / 1000;
    static constexpr std::int64_t kPause = 10 * kMillisecond; ///< of the worker

    std::int64_t m_slack;
    std::int64_t m_worst = 0;
    unsigned long m_tooLate = 0;
    unsigned long m_all = 0;
};

int runAtRate(host::RecordTap const & tap, unsigned int rate, std::int64_t duration)
{
    Run const done = runAfresh(rate, duration);
    printRun("no own load", rate, duration, done);
    bool const isWritten = isWhole(tap.account());
    return isGood(done) && isWritten ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argumentCount, char ** arguments)
{
    unsigned long const rate = argumentCount == 3 ? std::strtoul(arguments[1], nullptr, 10) : 0;
    unsigned long const seconds = argumentCount == 3 ? std::strtoul(arguments[2], nullptr, 10) : 0;
    if (argumentCount != 1 && (rate < 1000 || rate > 1'000'000 || seconds == 0 || seconds > 86400)) {
        (void)std::fprintf(stderr, "usage: %s [RATE SECONDS], with a rate from 1000 to 1000000\n", arguments[0]);
        return 2;
    }
    (void)std::signal(SIGPIPE, SIG_IGN);
    printHeader("paced_rate");
    host::RecordTapOptions options;
    options.descriptor = open("/dev/null", O_WRONLY | O_CLOEXEC);
    host::RecordTap const tap(options);
    if (rate != 0) {
        Sleeper sleeper(static_cast<unsigned int>(rate));
        std::atomic<bool> isOver{false};
        std::thread thread([&] { sleeper.sleep(isOver); }); // ahead of the producer's priority, which it would inherit
        printPriority(takeRealTimePriority());
        int const status =
            runAtRate(tap, static_cast<unsigned int>(rate), static_cast<std::int64_t>(seconds) * kSecond);
        isOver.store(true);
        thread.join();
        sleeper.print();
        return status;
    }
    // The threads that make the load are started ahead of the producer's priority, which they would inherit.
    std::atomic<bool> isBusy{false};
    std::atomic<bool> isOver{false};
    std::vector<std::thread> loads;
    for (long core = 0; core != sysconf(_SC_NPROCESSORS_ONLN); ++core) {
        loads.emplace_back([&] {
            while (!isBusy.load()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            }
            while (!isOver.load(std::memory_order_relaxed)) {
            }
        });
    }
    printPriority(takeRealTimePriority());
    findRate("no own load");
    isBusy.store(true);
    findRate("all cores busy");
    isOver.store(true);
    for (std::thread & load : loads) {
        load.join();
    }
    (void)isWhole(tap.account());
    return EXIT_SUCCESS;
}
