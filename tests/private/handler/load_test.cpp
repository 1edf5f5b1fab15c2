// The real-time road as a host has it: the real thread layer, and threads that call while the worker writes.

#include "support/process_state.h"
#include "support/rounds.h"
#include "support/trace_test.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <numeric>
#include <thread>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;
using testing::HasSubstr;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSlow = true; // a sanitizer's build, by a factor of ten to twenty
#else
constexpr bool kIsSlow = false;
#endif

constexpr unsigned int kProducers = 4;
constexpr unsigned int kMostUnderway = 700; // of one producer: together they stay below the 3200 of the queue
constexpr unsigned int kBurst = 25;         // calls between two pauses of a producer that keeps a rate

/// A unit on a thread of its own, which numbers the records that are taken.
struct Producer
{
    Producer(unsigned int number, std::shared_ptr<Handler> const & handler)
        : unit(("producer." + std::to_string(number)).c_str(), handler), producer(number)
    {
        unit.setEnablingState(true);
    }
    TraceResult call()
    {
        TraceResult const result =
            unit.logRealTime(kMessage, parametersOf("%u %u of %08X"), producer, accepted, accepted * 2654435761U);
        accepted += result == TRACE_OK ? 1U : 0U;
        return result;
    }

    Log unit;
    unsigned int producer;
    unsigned int accepted = 0;
};

/// What has reached the stream. The totals can be read at any time, `others` when nobody writes any more.
struct Ledger
{
    /// Counts a record that is whole and the next one of its producer.
    void receive(std::string_view record)
    {
        std::lock_guard<std::mutex> const lock(mutex);
        std::string const text(record.substr(record.rfind('|') + 1));
        unsigned int number = 0;
        if (std::sscanf(text.c_str(), "Pushing to trace queue failed. %u", &number) == 1) {
            reportedLost += number;
            return;
        }
        char expected[256] = "";
        if (std::sscanf(text.c_str(), "%u %*u of", &number) == 1 && number < kProducers) {
            unsigned int const next = written[number];
            (void)std::snprintf(expected, sizeof expected,
                                "||080A0112|Trace message producer.%u|||axis|machine|producer.%u|axis.cpp|Axis::start|"
                                "118|%u %u of %08X",
                                number, number, number, next, next * 2654435761U);
        }
        constexpr std::size_t kTimeLength = 27;
        if (record.substr(kTimeLength) == expected) {
            ++written[number];
        } else {
            others.push_back(text);
        }
    }

    std::mutex mutex;
    std::array<std::atomic<unsigned int>, kProducers> written{};
    std::atomic<unsigned int> reportedLost{0};
    std::vector<std::string> others;
};

auto const kIsPlainLife =
    ElementsAre(HasSubstr("fixed size of 3200"), HasSubstr("is started"), HasSubstr("is terminated"));

class HandlerLoad : public testing::Test
{
protected:
    /// Runs `work` for each producer on a thread of its own, until all have ended. Keeps what was accepted of each.
    template <typename Work>
    void produce(std::shared_ptr<Handler> const & handler, Work const & work)
    {
        std::vector<std::thread> threads;
        for (unsigned int number = 0; number < kProducers; ++number) {
            threads.emplace_back([&, number] {
                Producer producer(number, handler);
                work(producer);
                accepted[number] = producer.accepted;
            });
        }
        for (std::thread & thread : threads) {
            thread.join();
        }
    }

    void expectAllAcceptedWritten(Ledger const & seen) const
    {
        for (unsigned int number = 0; number < kProducers; ++number) {
            EXPECT_EQ(seen.written[number], accepted[number]) << "producer " << number;
        }
    }

    ScopedEnvironment environment{"SNAP_NAME", "machine"};
    Ledger ledger;
    std::array<unsigned int, kProducers> accepted{};
};

TEST_F(HandlerLoad, BelowItsLimitDeliversEachRecordOnceWholeAndInOrder)
{
    using Clock = std::chrono::steady_clock;
    auto const records = static_cast<unsigned int>(
        roundsOf("COMMON_LOG_LOAD_RECORDS", kIsSlow ? kProducers * 10'000 : kProducers * 250'000) / kProducers);
    // Of all producers together in a second; 0: as fast as the worker takes them.
    auto const rate = static_cast<unsigned int>(roundsOf("COMMON_LOG_LOAD_RATE", 0));
    auto const period = std::chrono::nanoseconds(rate != 0 ? 1'000'000'000ULL * kProducers / rate : 0);
    std::atomic<unsigned int> waits{0};
    RecordStream const stream([&](std::string_view record) { ledger.receive(record); });
    auto handler = std::make_shared<Handler>();
    Clock::time_point const start = Clock::now();
    produce(handler, [&](Producer & producer) {
        while (producer.accepted < records) {
            std::this_thread::sleep_until(start + producer.accepted / kBurst * kBurst * period);
            auto const hasRoom = [&] { return producer.accepted - ledger.written[producer.producer] < kMostUnderway; };
            waits += hasRoom() ? 0U : 1U;
            ASSERT_TRUE(waitUntil(hasRoom));
            ASSERT_EQ(producer.call(), TRACE_OK);
        }
    });
    double const seconds = std::chrono::duration<double>(Clock::now() - start).count();
    handler.reset();
    expectAllAcceptedWritten(ledger);
    EXPECT_THAT(ledger.others, kIsPlainLife);
    double const reached = kProducers * records / seconds;
    EXPECT_GT(reached, 0.95 * rate);
    std::printf("seen: %u records in %.1f s, %.0f a second: each written once, whole, in order; %u waits for room\n",
                kProducers * records, seconds, reached, waits.load());
}

TEST_F(HandlerLoad, AboveItsLimitAccountsForEachCallWhileTheWorkerStalls)
{
    std::atomic<unsigned int> refused{0};
    std::atomic<bool> areAllDone{false};
    RecordStream const stream([&, records = 0U](std::string_view record) mutable {
        ledger.receive(record);
        if (++records % 2000 == 0) {
            EXPECT_TRUE(waitUntil([&, before = refused.load()] { return refused > before + 100 || areAllDone; }));
        }
    });
    auto handler = std::make_shared<Handler>();
    constexpr unsigned int kCalls = kIsSlow ? 10'000 : 50'000;
    produce(handler, [&](Producer & producer) {
        for (unsigned int call = 0; call < kCalls; ++call) {
            TraceResult const result = producer.call();
            ASSERT_TRUE(result == TRACE_OK || result == TRACE_QUEUE_FULL) << result;
            refused += result == TRACE_QUEUE_FULL ? 1U : 0U;
        }
    });
    areAllDone = true;
    EXPECT_TRUE(waitUntil([&] { return ledger.reportedLost == refused; })) << ledger.reportedLost << " of " << refused;
    handler.reset();
    EXPECT_GT(refused, 100U);
    expectAllAcceptedWritten(ledger);
    EXPECT_THAT(ledger.others, kIsPlainLife);
    static unsigned int runs = 0; // by --gtest_repeat
    static unsigned int written = 0;
    static unsigned int lost = 0;
    written = std::accumulate(ledger.written.begin(), ledger.written.end(), written);
    lost += ledger.reportedLost;
    ++runs;
    std::printf("seen: %u runs: %u written + %u reported lost of %u calls\n", runs, written, lost,
                runs * kProducers * kCalls);
}

TEST_F(HandlerLoad, GoesWhileOthersStillCall)
{
    for (unsigned int round = 0; round < (kIsSlow ? 20U : 100U); ++round) {
        SCOPED_TRACE(round);
        Ledger seen;
        std::atomic<unsigned int> stopped{0};
        // The handler has to outlive the calls: its last record waits until all have been refused.
        RecordStream const stream([&](std::string_view record) {
            seen.receive(record);
            if (record.find("is terminated") != std::string_view::npos) {
                EXPECT_TRUE(waitUntil([&] { return stopped == kProducers; }));
            }
        });
        auto handler = std::make_unique<Handler>();
        std::thread end([&] {
            EXPECT_TRUE(waitUntil([&] { return seen.written[0] > round; }));
            handler.reset();
        });
        produce(std::shared_ptr<Handler>(std::shared_ptr<void>(), handler.get()), [&](Producer & producer) {
            TraceResult result = TRACE_OK;
            while (result == TRACE_OK) {
                EXPECT_TRUE(waitUntil([&] {
                    return producer.accepted - seen.written[producer.producer] < kMostUnderway || stopped != 0;
                }));
                result = producer.call();
            }
            EXPECT_EQ(result, TRACE_SHUTTING_DOWN);
            ++stopped;
        });
        end.join();
        for (unsigned int number = 0; number < kProducers; ++number) {
            // One call can have been underway, and its record have come behind the last one that is read.
            EXPECT_GE(seen.written[number] + 1, accepted[number]);
            EXPECT_LE(seen.written[number], accepted[number]);
        }
        EXPECT_EQ(seen.reportedLost, 0U);
        EXPECT_THAT(seen.others, kIsPlainLife);
    }
}

TEST_F(HandlerLoad, WritesEachRecordWithoutWaitingForTheNextCall)
{
    RecordStream const stream([&](std::string_view record) { ledger.receive(record); });
    auto const handler = std::make_shared<Handler>();
    Producer producer(0, handler);
    for (unsigned int call = 0; call < 50; ++call) {
        EXPECT_EQ(producer.call(), TRACE_OK);
        ASSERT_TRUE(waitUntil([&] { return ledger.written[0] == call + 1; }));
    }
}

TEST_F(HandlerLoad, TakesAWorkerAwayThatIsStuckInTheStreamWhileTheQueueIsFull)
{
    std::thread([] {}).join(); // the first thread of a process brings that of a sanitizer with it
    ProcessState const before;
    std::atomic<bool> isStuck{false};
    RecordStream const stream([&](std::string_view record) {
        ledger.receive(record);
        // The first record of a producer: its texts are so short that no memory is lost with the worker.
        while (record.find("|Axis::start|") != std::string_view::npos) {
            isStuck = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    auto handler = std::make_shared<Handler>();
    produce(handler, [&](Producer & producer) {
        (void)producer.call(); // another one may have filled the queue already
        EXPECT_TRUE(waitUntil([&] { return isStuck.load(); }));
        while (producer.call() == TRACE_OK) {
        }
    });
    handler.reset();
    EXPECT_THAT(ledger.others, ElementsAre(HasSubstr("fixed size of 3200"), HasSubstr("is started"),
                                           "Calling 'addTraceData' with data type 2 failed with error code 0xF0000006",
                                           "Thread 'TraceHandler' did not end after 3000 ms"));
    EXPECT_TRUE(waitUntilNoMoreThreadsThan(before));
}

} // namespace

} // namespace common::log::test
