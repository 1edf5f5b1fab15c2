#include "handler_fixture.h"

#include <cstdio>
#include <cstring>
#include <thread>

using namespace common::log;
using namespace common::log::trace;

// Outside of common::log, whose line numbers the fixture replaces.
namespace machine {

namespace {

[[maybe_unused]] constexpr char const * kTraceComponent = "the file, which is farther away than the class";

struct Site
{
    char const * name;
    unsigned int line;
    bool EnablingState::*flag;
    std::string codeAndTitle;
    void (*call)(CountedLog & unit, int & evaluated);
};

#define SITE(name, flag, codeAndTitle, statement)                                                                      \
    Site                                                                                                               \
    {                                                                                                                  \
#name, __LINE__, &EnablingState::flag, codeAndTitle, [](CountedLog & unit, int & evaluated) { statement; }     \
    }

#define SITES(severity, flag, title, code, ownCode)                                                                    \
    SITE(severity, flag, #code "|" title, COMMON_LOG_##severity(unit, "%s %d", "text", ++evaluated)),                  \
        SITE(severity##_CODE, flag, #ownCode "|" title,                                                                \
             COMMON_LOG_##severity##_CODE(unit, 0x##ownCode, "%s %d", "text", ++evaluated)),                           \
        SITE(severity##_EVERY_N, flag, #code "|" title,                                                                \
             COMMON_LOG_##severity##_EVERY_N(unit, 2, "%s %d", "text", ++evaluated)),                                  \
        SITE(severity##_EVERY, flag, #code "|" title,                                                                  \
             COMMON_LOG_##severity##_EVERY(unit, 1'000'000, "%s %d", "text", ++evaluated)),                            \
        SITE(severity##_ONCE, flag, #code "|" title, COMMON_LOG_##severity##_ONCE(unit, "%s %d", "text", ++evaluated))

struct Axis
{
    static constexpr char const * kTraceComponent = "axis";

    static std::vector<Site> sites()
    {
        return {SITES(MESSAGE, messages, "Trace message ", 080A0112, FFFAFFFF),
                SITES(WARNING, warnings, "Trace warning ", 080E0112, 000E0000),
                SITES(ERROR, errors, "Trace error ", 080F0112, 123F4567),
                SITES(MESSAGE_REAL_TIME, messages, "Trace message ", 080A0112, FFFAFFFF),
                SITES(WARNING_REAL_TIME, warnings, "Trace warning ", 080E0112, 000E0000),
                SITES(ERROR_REAL_TIME, errors, "Trace error ", 080F0112, 123F4567)};
    }
};

} // namespace

} // namespace machine

namespace common::log::test {

namespace {

using machine::Axis;
using machine::Site;
using testing::ElementsAre;
using testing::EndsWith;
using testing::SizeIs;

constexpr char const * kTraceComponent = "test";

std::string const kSnapName = SnapName().getSnapName(); // at load: the tests change the environment

class CallSite : public HandlerTest
{
protected:
    CallSite()
    {
        start();
        unit = std::make_unique<CountedLog>("axis.control", handler, account);
        unit->setEnablingState(true);
        stream.clear();
    }

    CallAccount account;
    std::unique_ptr<CountedLog> unit;
};

TEST_F(CallSite, FillsInWhereItStandsAndEvaluatesNothingWhereItsOwnFlagIsOff)
{
    for (Site const & site : Axis::sites()) {
        SCOPED_TRACE(site.name);
        EnablingState others{true, true, true};
        others.*site.flag = false;
        unit->setEnablingState(others);
        int evaluated = 0;
        site.call(*unit, evaluated);
        EXPECT_EQ(evaluated, 0);
        unit->setEnablingState(true);
        site.call(*unit, evaluated);
        std::vector<std::string> const ordinary = takeLines();
        bool const isRealTime = std::strstr(site.name, "REAL_TIME") != nullptr;
        EXPECT_THAT(ordinary, SizeIs(isRealTime ? 0 : 1));
        EXPECT_THAT(isRealTime ? drain() : ordinary,
                    ElementsAre("T||" + site.codeAndTitle + "axis.control|||axis|" + kSnapName +
                                "|axis.control|call_site_test.cpp|machine::{"
                                "anonymous}::Axis::sites|" +
                                std::to_string(site.line) + "|text 1"));
        stream.clear();
    }
    EXPECT_EQ(account.counts().switchedOff, Axis::sites().size());
}

/// What the records say was held back, all together.
unsigned int heldBack(std::vector<std::string> const & records)
{
    unsigned int sum = 0;
    for (std::string const & record : records) {
        unsigned int one = 0;
        (void)std::sscanf(record.c_str() + record.rfind('|'), "|(%u held back) ", &one);
        sum += one;
    }
    return sum;
}

struct Limit
{
    char const * name;
    std::size_t records; ///< of 10,000 calls
    void (*call)(Log & unit);
};

TEST_F(CallSite, ThatIsLimitedLetsThroughOfManyThreadsWhatItSays)
{
    for (Limit const & limit :
         {Limit{"EveryN", 1001, [](Log & log) { COMMON_LOG_WARNING_REAL_TIME_EVERY_N(log, 10, "text"); }},
          Limit{"Every", 1, [](Log & log) { COMMON_LOG_ERROR_REAL_TIME_EVERY(log, 1'000'000, "text"); }},
          Limit{"Once", 1, [](Log & log) { COMMON_LOG_MESSAGE_REAL_TIME_ONCE(log, "text"); }}}) {
        SCOPED_TRACE(limit.name);
        std::vector<std::thread> threads;
        for (int number = 0; number != 4; ++number) {
            threads.emplace_back([&] {
                for (int call = 0; call != 2500; ++call) {
                    limit.call(*unit);
                }
            });
        }
        for (std::thread & thread : threads) {
            thread.join();
        }
        unit->setEnablingState(false);
        limit.call(*unit); // which counts nowhere
        unit->setEnablingState(true);
        limit.call(*unit);
        std::vector<std::string> const records = drain();
        EXPECT_EQ(records.size(), limit.records);
        EXPECT_EQ(heldBack(records), limit.records == 1 ? 0U : 10'001U - limit.records);
    }
}

TEST_F(CallSite, TellsOfARefusedCallTheAccountAndOfWhatWasHeldBackTheNextRecord)
{
    auto const callEverySecond = [this] { COMMON_LOG_WARNING_REAL_TIME_EVERY_N(*unit, 2, "second"); };
    auto const callOnce = [this] { COMMON_LOG_ERROR_REAL_TIME_ONCE(*unit, "once"); };
    fill(traceEntry(kMessage, ""), kQueueSize - 1);
    fill(entryOfType(DATA_TERMINATE), 1);
    for (int i = 0; i != 4; ++i) {
        callEverySecond(); // refused, held back, refused, held back
    }
    callOnce();
    ASSERT_EQ(layer.runWorker(), TRACE_OK);
    callEverySecond();
    callOnce();
    callOnce();
    COMMON_LOG_MESSAGE_REAL_TIME(*unit, "%0300d", 1);
    std::vector<std::string> const records = drain();
    EXPECT_THAT(records, ElementsAre(EndsWith("|(2 held back) second"), EndsWith("|once"), EndsWith("00")));
    CallCounts const counts = account.counts();
    EXPECT_EQ(counts.warnings, 3U);
    EXPECT_EQ(counts.errors, 2U);
    EXPECT_EQ(counts.refused, 3U);
    EXPECT_EQ(counts.messages, 1U);
    EXPECT_EQ(counts.cut, 1U);
}

TEST(AtMostEvery, CountsItsPeriodFromTheCallThatPassed)
{
    AtMostEvery limit;
    AtMostEvery::Clock::time_point const start(std::chrono::hours(-1)); // a clock may begin anywhere
    std::string passed;
    for (int milliseconds = 0; milliseconds <= 25; ++milliseconds) {
        if (limit.passesAt(start + std::chrono::milliseconds(milliseconds == 10 ? 9 : milliseconds), 10)) {
            passed += std::to_string(milliseconds) + ":" + std::to_string(limit.takeHeldBack()) + " ";
        }
    }
    EXPECT_EQ(passed, "0:0 11:10 21:9 ");
}

} // namespace

} // namespace common::log::test
