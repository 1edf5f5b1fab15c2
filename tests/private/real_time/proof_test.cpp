// That a thread with a deadline may call the real-time road: on every branch that is not a report of the library about
// itself it makes no system call but the reading of the clock, allocates nothing, takes no lock and touches no memory
// that has to be brought in first. That the instruments would notice is shown beside it.

#include "road.h"
#include "system_call_filter.h"
#include "tripwire.h"

#include "support/rounds.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <mutex>
#include <new>
#include <ostream>
#include <shared_mutex>
#include <string>

namespace common::log::test {

namespace {

using namespace common::log::trace;

constexpr unsigned long kCalls = 1'000'000;
constexpr unsigned int kBlock = 2000; // calls between two drains

constexpr unsigned int kMessage = 0x080A0112;
constexpr unsigned int kWarning = 0x080E0112;
constexpr unsigned int kError = 0x080F0112;
constexpr unsigned int kInvalid = 0x080C0112;

/// How the system call filter ends a child.
std::string const kKilled = "signal " + std::to_string(SIGSYS);

constexpr char const * kSkipReason = "the sanitizers' runtime allocates and makes system calls of its own";

/// The state of the handler that a call meets.
enum class Meets
{
    room,
    fullQueue,
    shutdown,
};

struct Branch
{
    char const * name;
    Meets meets;
    TraceResult result;
    TraceResult (*call)(Road & road);
};

std::ostream & operator<<(std::ostream & stream, Branch const & branch) { return stream << branch.name; }

LogParametersExtended parameters(char const * format)
{
    LogParametersExtended result;
    result.componentName = "axis";
    result.snapName = "machine";
    result.fileName = "axis_control.cpp";
    result.functionName = "AxisControl::cycle";
    result.line = 118;
    result.format = format;
    return result;
}

template <unsigned int kCode>
TraceResult callWith(Road & road)
{
    return road.unit().logRealTime(kCode, parameters("axis %d position %.3f deviation %.3f state %s"), 3, 12.125,
                                   -0.002, "moving");
}

TraceResult callWithNullTexts(Road & road) { return road.unit().logRealTime(kWarning, LogParametersExtended()); }

TraceResult callWithLongMessage(Road & road) { return road.unit().logRealTime(kWarning, parameters("%0300d"), 3); }

/// What makes the C library's formatter allocate, and each way of the own one.
TraceResult callWithPreciseMessage(Road & road)
{
    return road.unit().logRealTime(kWarning, parameters("%.3e %.30f %a %p %.1500f %2000d"), 1e300, 12.125, 12.125,
                                   &road, 0.1, 3);
}

TraceResult callWithLongTexts(Road & road)
{
    static char const text[] =
        "a text of which no field of a record takes more than a part: 127 characters fit into the "
        "longest one, and here are some more of them";
    LogParametersExtended tooLong = parameters("short");
    tooLong.componentName = tooLong.snapName = tooLong.fileName = tooLong.functionName = text;
    return road.unit().logRealTime(kWarning, tooLong);
}

TraceResult callWithWrongClass(Road & road) { return road.unit().logRealTime(kWarning, LogParameters()); }

TraceResult callWithWrongClassAndList(Road & road)
{
    return road.unit().logRealTimeVaList(kWarning, LogParameters(), nullptr);
}

TraceResult callWithImpossibleText(Road & road)
{
    return road.unit().logRealTime(kWarning, parameters("%lc"), static_cast<wint_t>(0x7FFFFFFF));
}

TraceResult callDisabled(Road & road) { return road.silentUnit().logRealTime(kWarning, parameters("axis %d"), 3); }

constexpr char const * kTraceComponent = "axis";

/// What the account of a unit says of a call by a macro, which has no result. A call that is held back counts as done.
template <typename Call>
TraceResult resultOf(CountedLog & unit, Call const & call)
{
    CallCounts const before = unit.account().counts();
    call();
    CallCounts const after = unit.account().counts();
    return after.refused != before.refused           ? TRACE_QUEUE_FULL
           : after.switchedOff != before.switchedOff ? TRACE_DISABLED
                                                     : TRACE_OK;
}

TraceResult callSite(Road & road)
{
    return resultOf(road.unit(), [&] { COMMON_LOG_WARNING_REAL_TIME(road.unit(), "axis %d of %s", 3, "machine"); });
}

TraceResult callSiteOff(Road & road)
{
    return resultOf(road.unit(), [&] { COMMON_LOG_MESSAGE_REAL_TIME_ONCE(road.silentUnit(), "axis %d", 3); });
}

TraceResult callSiteEveryN(Road & road)
{
    return resultOf(road.unit(), [&] { COMMON_LOG_ERROR_REAL_TIME_EVERY_N(road.unit(), 3, "axis %d", 3); });
}

TraceResult callSiteEvery(Road & road)
{
    return resultOf(road.unit(), [&] { COMMON_LOG_MESSAGE_REAL_TIME_EVERY(road.unit(), 1, "axis %d", 3); });
}

/// Each instance of a template is a site of its own.
template <Meets>
TraceResult callSiteOnce(Road & road)
{
    return resultOf(road.unit(), [&] { COMMON_LOG_WARNING_REAL_TIME_ONCE(road.unit(), "axis %d", 3); });
}

TraceResult pushOtherEntry(Road & road) { return road.handler().addTraceData(DataOfQueue()); }

Branch const kBranches[] = {
    {"Message", Meets::room, TRACE_OK, callWith<kMessage>},
    {"Warning", Meets::room, TRACE_OK, callWith<kWarning>},
    {"Error", Meets::room, TRACE_OK, callWith<kError>},
    {"Disabled", Meets::room, TRACE_DISABLED, callDisabled},
    {"InvalidCode", Meets::room, TRACE_INVALID_ARGUMENT, callWith<kInvalid>},
    {"NullTexts", Meets::room, TRACE_OK, callWithNullTexts},
    {"CutMessage", Meets::room, TRACE_TRUNCATED, callWithLongMessage},
    {"PreciseMessage", Meets::room, TRACE_TRUNCATED, callWithPreciseMessage},
    {"CutTexts", Meets::room, TRACE_TRUNCATED, callWithLongTexts},
    {"WrongClass", Meets::room, TRACE_INVALID_ARGUMENT, callWithWrongClass},
    {"WrongClassAndList", Meets::room, TRACE_INVALID_ARGUMENT, callWithWrongClassAndList},
    {"ImpossibleText", Meets::room, TRACE_FAILED, callWithImpossibleText},
    {"OtherEntry", Meets::room, TRACE_OK, pushOtherEntry},
    {"CallSite", Meets::room, TRACE_OK, callSite},
    {"CallSiteOff", Meets::room, TRACE_DISABLED, callSiteOff},
    {"CallSiteEveryN", Meets::room, TRACE_OK, callSiteEveryN},
    {"CallSiteEvery", Meets::room, TRACE_OK, callSiteEvery},
    {"CallSiteOnce", Meets::room, TRACE_OK, callSiteOnce<Meets::room>},
    {"CallSiteOnceFullQueue", Meets::fullQueue, TRACE_QUEUE_FULL, callSiteOnce<Meets::fullQueue>},
    {"FullQueue", Meets::fullQueue, TRACE_QUEUE_FULL, callWith<kWarning>},
    {"ShuttingDown", Meets::shutdown, TRACE_SHUTTING_DOWN, callWith<kWarning>},
};

/// Minor and major page faults of the calling thread since it began.
long pageFaults()
{
    rusage usage{};
    (void)getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_minflt + usage.ru_majflt;
}

/// Of all branches together.
struct
{
    unsigned long filteredCalls = 0;
    unsigned long calls = 0;
    unsigned long allocations = 0;
    unsigned long locks = 0;
    long faults = 0;
} g_seen;

class RealTimeRoad : public testing::TestWithParam<Branch>
{
protected:
    void SetUp() override
    {
        if (HAS_SANITIZERS) {
            GTEST_SKIP() << kSkipReason;
        }
        ASSERT_EQ(g_internalTrace, nullptr) << "the library's reports about itself are not part of this";
    }

    static void TearDownTestSuite()
    {
        std::printf("seen: %zu branches: %lu calls without a system call; in %lu calls %lu allocations, %lu locks, %ld "
                    "page faults behind the first call\n",
                    std::size(kBranches), g_seen.filteredCalls, g_seen.calls, g_seen.allocations, g_seen.locks,
                    g_seen.faults);
    }

    /// Brings the handler into the state that the branch is about, and runs `work` in it.
    void inItsState(std::function<void()> const & work)
    {
        switch (GetParam().meets) {
        case Meets::room:
            work();
            break;
        case Meets::fullQueue:
            for (unsigned int i = 0; i != Road::kQueueSize; ++i) {
                ASSERT_EQ(callWith<kWarning>(m_road), TRACE_OK);
            }
            work();
            break;
        case Meets::shutdown:
            m_road.shutDown(work);
            break;
        }
    }

    /// @return how many of the calls gave another result than the branch's
    unsigned long call(unsigned long times)
    {
        Branch const & branch = GetParam();
        unsigned long others = 0;
        for (unsigned long i = 0; i != times; ++i) {
            others += branch.call(m_road) != branch.result ? 1U : 0U;
        }
        return others;
    }

    Road m_road;
};

TEST_P(RealTimeRoad, MakesNoSystemCallFromTheFirstCallOn)
{
    unsigned long const calls = roundsOf("COMMON_LOG_FILTERED_CALLS", kBlock);
    inItsState([this, calls] {
        // Each block in a child of its own, whose queue is as this one's: draining it would make system calls.
        unsigned long done = 0;
        for (; done < calls && !HasFailure(); done += kBlock) {
            EXPECT_EQ(runWithoutSystemCalls([this] { return call(kBlock) == 0 ? 0 : 1; }), "status 0");
        }
        g_seen.filteredCalls += HasFailure() ? 0 : done;
    });
}

TEST_P(RealTimeRoad, NeitherAllocatesNorLocksNorFaultsInAMillionCalls)
{
    inItsState([this] {
        unsigned long others = 0;
        unsigned long allocations = 0;
        unsigned long locks = 0;
        char const * forbidden = nullptr;
        long faults = 0;
        long faultsOfFirst = 0;
        for (unsigned long done = 0; done != kCalls; done += kBlock) {
            Tripwire const tripwire;
            long const before = pageFaults();
            if (done == 0) {
                others += call(1);
                faultsOfFirst = pageFaults() - before;
                others += call(kBlock - 1);
            } else {
                others += call(kBlock);
            }
            faults += pageFaults() - before;
            allocations += tripwire.allocations();
            locks += tripwire.locks();
            forbidden = forbidden == nullptr ? tripwire.first() : forbidden;
            if (GetParam().meets == Meets::room) {
                m_road.drain();
            }
        }
        EXPECT_EQ(others, 0U);
        EXPECT_EQ(allocations, 0U) << "the first was " << forbidden;
        EXPECT_EQ(locks, 0U) << "the first was " << forbidden;
        EXPECT_EQ(faults - faultsOfFirst, 0);
        g_seen.calls += kCalls;
        g_seen.allocations += allocations;
        g_seen.locks += locks;
        g_seen.faults += faults - faultsOfFirst;
    });
}

INSTANTIATE_TEST_SUITE_P(Branch, RealTimeRoad, testing::ValuesIn(kBranches),
                         [](auto const & instance) { return instance.param.name; });

class Instruments : public testing::Test
{
protected:
    void SetUp() override
    {
        if (HAS_SANITIZERS) {
            GTEST_SKIP() << kSkipReason;
        }
    }
};

TEST_F(Instruments, TheFilterKillsWhoMakesASystemCall)
{
    EXPECT_EQ(runWithoutSystemCalls([] { return 7; }), "status 7");
    EXPECT_EQ(runWithoutSystemCalls([] { return static_cast<int>(getppid()); }), kKilled);
    EXPECT_EQ(runWithoutSystemCalls([] { return static_cast<int>(write(STDOUT_FILENO, "", 1)); }), kKilled);
}

TEST_F(Instruments, TheFaultCountNoticesANewPage)
{
    constexpr std::size_t kSize = 4096;
    auto * const page =
        static_cast<char volatile *>(mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(page, MAP_FAILED);
    long const before = pageFaults();
    *page = 1;
    EXPECT_EQ(pageFaults() - before, 1);
    (void)munmap(const_cast<char *>(page), kSize);
}

struct Forbidden
{
    char const * name;
    bool isLock;
    void (*call)();
};

std::ostream & operator<<(std::ostream & stream, Forbidden const & forbidden) { return stream << forbidden.name; }

/// Hides from the compiler that memory is not used.
void * volatile g_memory = nullptr;

std::size_t volatile g_size = 64;
std::size_t volatile g_digits = 20'000;

Forbidden const kForbidden[] = {
    {"New", false, [] { ::operator delete(g_memory = ::operator new(g_size)); }},
    {"AlignedNew", false,
     [] {
         constexpr std::align_val_t kAlignment{64};
         ::operator delete(g_memory = ::operator new(g_size, kAlignment), kAlignment);
     }},
    {"Malloc", false, [] { std::free(g_memory = std::malloc(g_size)); }},
    {"Calloc", false, [] { std::free(g_memory = std::calloc(g_size, 1)); }},
    {"Realloc", false, [] { std::free(g_memory = std::realloc(nullptr, g_size)); }},
    {"AlignedAlloc", false, [] { std::free(g_memory = std::aligned_alloc(64, g_size)); }},
    {"InsideTheCLibrary", false, [] { std::free(g_memory = strdup("text")); }},
    {"InsideTheCxxLibrary", false, [] { (void)std::string(g_size, 'x').append(g_size, 'y'); }},
    {"FormattingOfThousandsOfDigits", false,
     [] {
         char text[16];
         (void)std::snprintf(text, sizeof text, "%.*f", static_cast<int>(g_digits), 0.1);
     }},
    {"Mutex", true,
     [] {
         std::mutex mutex;
         std::lock_guard<std::mutex> const lock(mutex);
     }},
    {"SharedMutex", true,
     [] {
         std::shared_mutex mutex;
         std::shared_lock<std::shared_mutex> const lock(mutex);
     }},
    {"LocalStatic", true,
     [] {
         static std::size_t const size = g_size;
         (void)size;
     }},
};

class ForbiddenCall : public Instruments, public testing::WithParamInterface<Forbidden>
{
};

TEST_P(ForbiddenCall, TripsTheWire)
{
    Tripwire const tripwire;
    GetParam().call();
    unsigned long const allocations = tripwire.allocations();
    unsigned long const locks = tripwire.locks();
    EXPECT_GT(GetParam().isLock ? locks : allocations, 0U);
}

INSTANTIATE_TEST_SUITE_P(Call, ForbiddenCall, testing::ValuesIn(kForbidden),
                         [](auto const & instance) { return instance.param.name; });

} // namespace

} // namespace common::log::test
