#include "manager_fixture.h"

#include <atomic>
#include <thread>

namespace common::log::test {

using namespace common::log::trace;

namespace {

TEST_F(ManagerTest, KeepsItsTableWhileManyThreadsRegisterSwitchAndTrace)
{
    setFlags(internalTrace, kNothing);
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    auto const handler = std::make_shared<Handler>();
    Log shared("shared", handler);
    ASSERT_EQ(manager->addTraceUnit(&shared, kEverything), TRACE_OK);
    std::atomic<int> won{0};
    std::atomic<int> queued{0};
    auto const work = [&](int number) {
        Log own(("own.t" + std::to_string(number)).c_str(), handler);
        for (int round = 0; round < kRounds; ++round) {
            EXPECT_EQ(manager->addTraceUnit(&own, kEverything), TRACE_OK);
            Log contested("contested", handler);
            if (manager->addTraceUnit(&contested, kEverything) == TRACE_OK) {
                ++won;
                EXPECT_EQ(manager->removeTraceUnit(&contested), TRACE_OK);
            }
            LogParametersExtended parameters;
            parameters.format = "%d";
            TraceResult const result = shared.logRealTime(0x080A0112, parameters, round);
            EXPECT_TRUE(result == TRACE_OK || result == TRACE_DISABLED || result == TRACE_QUEUE_FULL);
            queued += result == TRACE_OK ? 1 : 0;
            (void)manager->setEnablingStateAllTraceUnits({round % 2 == 0, true, true});
            std::unordered_map<std::string, Log *> table;
            (void)manager->getAllTraceUnits(table);
            EXPECT_EQ(table.count(own.getUnitName()), 1U);
            EXPECT_EQ(table.at("shared"), &shared);
            EXPECT_EQ(manager->removeTraceUnit(&own), TRACE_OK);
        }
    };
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back(work, number);
    }
    for (std::thread & thread : threads) {
        thread.join();
    }
    EXPECT_GT(won, 0);
    EXPECT_GT(queued, 0);
    std::string names;
    (void)manager->getAllTraceUnits(names);
    EXPECT_EQ(names, "shared;");
}

} // namespace

} // namespace common::log::test
