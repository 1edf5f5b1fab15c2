#include "support/child_end.h"
#include "tap_support.h"

#include <common/log/host/fatal_signals.h>
#include <common/log/trace.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>

namespace common::log::host::test {

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::KilledBySignal;

struct Fault
{
    char const * name;
    int signal;
    void (*commit)();
    char const * line;
};

void readNowhere()
{
    auto * volatile nowhere = reinterpret_cast<int volatile *>(0x10); // null would be found by a sanitizer
    *nowhere = 1;
}

Fault const kFaults[] = {
    {"SegmentationFault", SIGSEGV, readNowhere, "SIGSEGV \\(11\\) at 0x0000000000000010 in thread "},
    {"Abort", SIGABRT, [] { std::abort(); }, "SIGABRT \\(6\\) from process [0-9]+ in thread "},
    {"BusError", SIGBUS, [] { (void)std::raise(SIGBUS); }, "SIGBUS \\(7\\) from process [0-9]+ in thread "},
    {"IllegalInstruction", SIGILL, [] { (void)std::raise(SIGILL); }, "SIGILL \\(4\\)"},
    {"ArithmeticError", SIGFPE, [] { (void)std::raise(SIGFPE); }, "SIGFPE \\(8\\)"},
    {"SystemCall", SIGSYS, [] { (void)std::raise(SIGSYS); }, "SIGSYS \\(31\\)"}};

void dieWithCounts(int signal)
{
    common::log::test::keepCounts();
    (void)std::signal(signal, SIG_DFL);
    (void)std::raise(signal);
}

/// In the child of a death test: default actions (a sanitizer has its own), and no core file.
void becomePlain()
{
    for (Fault const & fault : kFaults) {
        (void)std::signal(fault.signal, __gcov_dump != nullptr ? dieWithCounts : SIG_DFL);
    }
    rlimit const none{0, 0};
    (void)::setrlimit(RLIMIT_CORE, &none);
    ::alarm(60); // one that does not die of its signal dies of this one
}

constexpr int kQueued = 100;

/// Queues records on a real-time thread, and faults while they are in the queue.
void faultBehindQueuedRecords(trace::Log & unit, void (*commit)())
{
    (void)pthread_setname_np(pthread_self(), "axis");
    sched_param realTime{};
    realTime.sched_priority = 20;
    (void)pthread_setschedparam(pthread_self(), SCHED_FIFO, &realTime); // where the system grants it
    trace::LogParametersExtended parameters;
    parameters.format = "queued %d";
    for (int record = 0; record < kQueued; ++record) {
        (void)unit.logRealTime(0x080A0112, parameters, record);
    }
    commit();
}

/// Traces until the process ends, as the worker of a Handler does while it drains.
void keepTracing()
{
    static std::atomic<bool> hasBegun{false};
    std::thread([] {
        for (;;) {
            sendRecord("drained");
            hasBegun = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }).detach();
    while (!hasBegun) {
        std::this_thread::yield();
    }
}

class FatalSignalsDeathTest : public testing::TestWithParam<Fault>
{
protected:
    // The child runs from the start of the program: it has no threads of this one, and may have its own.
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};
using FatalSignalsChainDeathTest = FatalSignalsDeathTest;

int overflowStack(int const volatile * from)
{
    int volatile here[1024] = {*from};
    return *from == 0 ? 0 : overflowStack(here) + here[7];
}

void sayPrevious(int) { (void)!::write(2, "\nprevious handler", 17); }

} // namespace

TEST_P(FatalSignalsDeathTest, WriteALineLetOthersDrainAndDieOfTheSignal)
{
    auto const dieWithTap = [] {
        becomePlain();
        RecordTap const tap;
        FatalSignals const signals({"tracehost"});
        keepTracing();
        (void)pthread_setname_np(pthread_self(), "main");
        GetParam().commit();
    };
    EXPECT_EXIT(dieWithTap(), KilledBySignal(GetParam().signal),
                AllOf(ContainsRegex("\ntracehost: fatal signal " + std::string(GetParam().line)),
                      ContainsRegex("fatal signal [^\n]* in thread main \\([0-9]+\\)\n[^\n]*\\|drained")));
}

INSTANTIATE_TEST_SUITE_P(Signal, FatalSignalsDeathTest, testing::ValuesIn(kFaults),
                         [](auto const & test) { return test.param.name; });

TEST_F(FatalSignalsChainDeathTest, LetTheWorkerWriteWhatARealTimeThreadHadQueued)
{
    for (Fault const & fault : {kFaults[0], kFaults[1]}) {
        auto const dieInRealTime = [&] {
            becomePlain();
            RecordTap const tap;
            FatalSignals const signals;
            trace::Log unit("axis.control", std::make_shared<trace::Handler>());
            unit.setEnablingState(true);
            std::thread([&] { faultBehindQueuedRecords(unit, fault.commit); }).join();
        };
        EXPECT_EXIT(
            dieInRealTime(), KilledBySignal(fault.signal),
            AllOf(ContainsRegex(" in thread axis \\([0-9]+\\)"), HasSubstr("|queued " + std::to_string(kQueued - 1))));
    }
}

TEST_F(FatalSignalsChainDeathTest, GoThroughThePreviousHandlerOnce)
{
    auto const die = [](void (*previous)(int)) {
        becomePlain();
        (void)std::signal(SIGSEGV, previous);
        FatalSignals const signals;
        readNowhere();
    };
    EXPECT_EXIT(die(sayPrevious), KilledBySignal(SIGSEGV),
                ContainsRegex("^\nhost: fatal signal [^\n]*\nprevious handler$"));
    EXPECT_EXIT(die([](int) { std::abort(); }), KilledBySignal(SIGABRT), HasSubstr("SIGSEGV"));
}

TEST_F(FatalSignalsChainDeathTest, DieOfTheFirstWhenTwoThreadsFault)
{
    auto const die = [] {
        becomePlain();
        Channel const lines = Channel::pipe();
        FatalSignals const signals({"tracehost", lines.writer()});
        std::thread second([&] {
            std::string const first = lines.next();
            (void)!::write(2, first.data(), first.size());
            (void)std::raise(SIGFPE);
        });
        readNowhere();
        second.join();
    };
    EXPECT_EXIT(die(), KilledBySignal(SIGSEGV), HasSubstr("SIGSEGV"));
}

TEST_F(FatalSignalsChainDeathTest, HaveAStackWhereTheThreadsOwnIsUsedUp)
{
    auto const die = [] {
        becomePlain();
        FatalSignals const signals;
        int volatile from = 1;
        std::exit(overflowStack(&from));
    };
    EXPECT_EXIT(die(), KilledBySignal(SIGSEGV), HasSubstr("fatal signal SIGSEGV"));
}

TEST(FatalSignals, GiveBackWhatWasThereBefore)
{
    void (*const before)(int) = std::signal(SIGFPE, sayPrevious);
    (void)std::signal(SIGILL, SIG_IGN);
    {
        FatalSignals const signals;
        EXPECT_THROW(FatalSignals(), std::logic_error);
        EXPECT_EQ(std::signal(SIGILL, SIG_DFL), SIG_IGN) << "an ignored signal stays ignored";
        (void)std::signal(SIGSYS, sayPrevious);
    }
    EXPECT_EQ(std::signal(SIGFPE, before), sayPrevious);
    EXPECT_EQ(std::signal(SIGSYS, SIG_DFL), sayPrevious) << "somebody else's handler on top stays";
    FatalSignals const again;
}

} // namespace common::log::host::test
