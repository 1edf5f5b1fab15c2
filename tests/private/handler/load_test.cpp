// The real-time road as a host has it: the real thread layer, and threads that call while the worker writes.

#include "support/record.h"
#include "support/record_stream.h"

#include <common/log/trace.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <malloc.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace common::log::test {

namespace {

using namespace common::log::trace;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSlow = true; // a sanitizer's build, by a factor of ten to twenty
#else
constexpr bool kIsSlow = false;
#endif

constexpr unsigned int kMessage = 0x080A0112;
constexpr unsigned int kProducers = 4;
constexpr unsigned int kMostUnderway = 700; // of one producer: together they stay below the 3200 of the queue

using Numbers = std::vector<unsigned int>;

template <typename Condition>
bool waitFor(Condition const & condition)
{
    auto const limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// All that stands behind the timestamp in a record of a producer.
std::string recordText(unsigned int producer, unsigned int number)
{
    char text[256];
    (void)std::snprintf(text, sizeof text,
                        "||080A0112|Trace message producer.%u|||load|machine|producer.%u|load.cpp|produce|%u|%u %u of "
                        "%08X",
                        producer, producer, number % 1000 + 1, producer, number, number * 2654435761U);
    return text;
}

/// What has reached the stream. The totals can be read at any time, all else when nobody writes any more.
class Ledger
{
public:
    void receive(std::string_view record)
    {
        std::lock_guard<std::mutex> const lock(m_mutex);
        ++m_received;
        std::string_view const message = record.substr(record.rfind('|') + 1);
        constexpr std::string_view kLoss = "Pushing to trace queue failed. ";
        unsigned int first = 0;
        if (message.substr(0, kLoss.size()) == kLoss) {
            (void)std::from_chars(message.data() + kLoss.size(), message.data() + message.size(), first);
            m_reportedLost += first;
            return;
        }
        char const * const end = message.data() + message.size();
        unsigned int number = 0;
        auto const space = std::from_chars(message.data(), end, first);
        if (space.ec != std::errc() || space.ptr == end || first >= kProducers) {
            m_others.emplace_back(message);
            return;
        }
        (void)std::from_chars(space.ptr + 1, end, number);
        constexpr std::size_t kTimeLength = 27;
        if (record.substr(kTimeLength) == recordText(first, number)) {
            m_numbers[first].push_back(number);
            ++m_written[first];
        } else {
            m_others.emplace_back(record);
        }
    }

    Numbers const & numbers(unsigned int producer) const { return m_numbers[producer]; }
    unsigned int written(unsigned int producer) const { return m_written[producer]; }
    unsigned int received() const { return m_received; }
    unsigned int reportedLost() const { return m_reportedLost; }
    /// The messages of the handler's own records, and whole records that are not as a producer made them.
    std::vector<std::string> const & others() const { return m_others; }

private:
    std::mutex m_mutex;
    std::array<Numbers, kProducers> m_numbers;
    std::array<std::atomic<unsigned int>, kProducers> m_written{};
    std::atomic<unsigned int> m_received{0};
    std::atomic<unsigned int> m_reportedLost{0};
    std::vector<std::string> m_others;
};

auto const kIsPlainLife = testing::ElementsAre(testing::HasSubstr("fixed size of 3200"),
                                               testing::HasSubstr("is started"), testing::HasSubstr("is terminated"));

/// A unit on a thread of its own. Numbers its records, and keeps the numbers of those that were taken.
class Producer
{
public:
    Producer(unsigned int producer, std::shared_ptr<Handler> const & handler)
        : m_producer(producer), m_unit(("producer." + std::to_string(producer)).c_str(), handler)
    {
        m_unit.setEnablingState(true);
    }

    TraceResult call()
    {
        LogParametersExtended parameters;
        parameters.componentName = "load";
        parameters.snapName = "machine";
        parameters.fileName = "load.cpp";
        parameters.functionName = "produce";
        parameters.line = m_number % 1000 + 1;
        parameters.format = "%u %u of %08X";
        TraceResult const result =
            m_unit.logRealTime(kMessage, parameters, m_producer, m_number, m_number * 2654435761U);
        if (result == TRACE_OK) {
            m_accepted.push_back(m_number);
        }
        ++m_number;
        return result;
    }

    Numbers const & accepted() const { return m_accepted; }

private:
    unsigned int m_producer;
    Log m_unit;
    unsigned int m_number = 0;
    Numbers m_accepted;
};

class HandlerLoad : public testing::Test
{
protected:
    HandlerLoad()
    {
        (void)setenv("SNAP_NAME", "machine", 1); // NOLINT(concurrency-mt-unsafe): no other thread yet
    }

    /// Runs `work` for each producer on a thread of its own, until all have ended.
    template <typename Work>
    void produce(std::shared_ptr<Handler> const & handler, Work const & work)
    {
        std::vector<std::thread> threads;
        for (unsigned int number = 0; number < kProducers; ++number) {
            producers[number] = std::make_unique<Producer>(number, handler);
            threads.emplace_back([&, number] { work(*producers[number], number); });
        }
        for (std::thread & thread : threads) {
            thread.join();
        }
    }

    /// Their shares in the handler go; what was accepted stays.
    void releaseProducers()
    {
        for (unsigned int number = 0; number < kProducers; ++number) {
            accepted[number] = producers[number]->accepted();
            producers[number].reset();
        }
    }

    void expectAllAcceptedWritten() const
    {
        for (unsigned int number = 0; number < kProducers; ++number) {
            EXPECT_TRUE(ledger.numbers(number) == accepted[number])
                << "producer " << number << ": " << accepted[number].size() << " accepted, "
                << ledger.numbers(number).size() << " written";
        }
    }

    Ledger ledger;
    std::array<std::unique_ptr<Producer>, kProducers> producers;
    std::array<Numbers, kProducers> accepted;
};

TEST_F(HandlerLoad, BelowItsLimitDeliversEachRecordOnceWholeAndInOrder)
{
    constexpr unsigned int kCalls = (kIsSlow ? 40'000 : 1'000'000) / kProducers;
    RecordStream const stream([&](std::string_view record) { ledger.receive(record); });
    auto handler = std::make_shared<Handler>();
    produce(handler, [&](Producer & producer, unsigned int number) {
        for (unsigned int call = 0; call < kCalls; ++call) {
            ASSERT_TRUE(waitFor([&] { return call - ledger.written(number) < kMostUnderway; }));
            ASSERT_EQ(producer.call(), TRACE_OK);
        }
    });
    releaseProducers();
    handler.reset();
    expectAllAcceptedWritten();
    EXPECT_THAT(ledger.others(), kIsPlainLife);
}

TEST_F(HandlerLoad, AboveItsLimitAccountsForEachCallWhileTheWorkerStalls)
{
    constexpr unsigned int kCalls = kIsSlow ? 10'000 : 50'000;
    constexpr unsigned int kRecordsBetweenStalls = 2000;
    std::atomic<unsigned int> refused{0};
    std::atomic<bool> areAllDone{false};
    RecordStream const stream([&, records = 0U](std::string_view record) mutable {
        ledger.receive(record);
        if (++records % kRecordsBetweenStalls == 0) {
            unsigned int const before = refused;
            EXPECT_TRUE(waitFor([&] { return refused > before + 100 || areAllDone; }));
        }
    });
    auto handler = std::make_shared<Handler>();
    produce(handler, [&](Producer & producer, unsigned int /*number*/) {
        for (unsigned int call = 0; call < kCalls; ++call) {
            TraceResult const result = producer.call();
            ASSERT_TRUE(result == TRACE_OK || result == TRACE_QUEUE_FULL) << result;
            refused += result == TRACE_QUEUE_FULL ? 1U : 0U;
        }
    });
    areAllDone = true;
    EXPECT_TRUE(waitFor([&] { return ledger.reportedLost() == refused; }))
        << ledger.reportedLost() << " of " << refused;
    releaseProducers();
    handler.reset();
    EXPECT_GT(refused, 100U);
    expectAllAcceptedWritten();
    EXPECT_THAT(ledger.others(), kIsPlainLife);
}

/// Takes the place of descriptor 2 while it lives: a pipe that nobody reads until the test does.
class ErrorPipe
{
public:
    ErrorPipe() : m_previous(dup(STDERR_FILENO))
    {
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[1], STDERR_FILENO) == -1) {
            throw std::runtime_error("no pipe");
        }
        close(ends[1]);
        m_reader = ends[0];
    }
    ErrorPipe(ErrorPipe const &) = delete;
    ErrorPipe & operator=(ErrorPipe const &) = delete;
    ~ErrorPipe()
    {
        closeWriter();
        close(m_reader);
    }

    static bool isFull()
    {
        pollfd writer{STDERR_FILENO, POLLOUT, 0};
        return poll(&writer, 1, 0) == 0;
    }

    /// Puts the descriptor back, which ends what can be read.
    void closeWriter()
    {
        if (m_previous != -1) {
            dup2(m_previous, STDERR_FILENO);
            close(std::exchange(m_previous, -1));
        }
    }

    /// Waits for something to read, for a minute at most. @return false at the end
    bool readMore()
    {
        pollfd reader{m_reader, POLLIN, 0};
        if (poll(&reader, 1, 60'000) != 1) {
            return false;
        }
        char block[4096];
        ssize_t const size = read(m_reader, block, sizeof block);
        m_text.append(block, size > 0 ? static_cast<std::size_t>(size) : 0);
        return size > 0;
    }

    std::string const & text() const { return m_text; }

private:
    int m_previous;
    int m_reader = -1;
    std::string m_text;
};

TEST_F(HandlerLoad, AboveItsLimitAccountsForEachCallWhileTheReaderOfTheStreamStalls)
{
    ErrorPipe errors;
    std::atomic<unsigned int> refused{0};
    auto handler = std::make_shared<Handler>();
    produce(handler, [&](Producer & producer, unsigned int /*number*/) {
        // The queue holds what comes until the pipe is full and the worker stands; only then calls are refused.
        for (unsigned int call = 0; call < kMostUnderway + 2000; ++call) {
            if (call == kMostUnderway) {
                EXPECT_TRUE(waitFor([&] { return ErrorPipe::isFull(); }));
            }
            refused += producer.call() == TRACE_QUEUE_FULL ? 1U : 0U;
        }
    });
    releaseProducers();
    // One report of them all, since none of them could be told while they were refused.
    std::string const report = " " + std::to_string(refused) + " trace entries are dismissed.";
    while (errors.text().find(report) == std::string::npos && errors.readMore()) {
    }
    std::thread end([&] {
        handler.reset();
        errors.closeWriter();
    });
    while (errors.readMore()) {
    }
    end.join();
    for (std::string const & line : splitLines(errors.text())) {
        ledger.receive(line);
    }
    EXPECT_GT(refused, 1000U);
    EXPECT_EQ(ledger.reportedLost(), refused);
    expectAllAcceptedWritten();
    EXPECT_THAT(ledger.others(), kIsPlainLife);
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
                EXPECT_TRUE(waitFor([&] { return stopped == kProducers; }));
            }
        });
        auto handler = std::make_unique<Handler>();
        std::shared_ptr<Handler> const shared(std::shared_ptr<void>(), handler.get());
        std::thread end([&] {
            EXPECT_TRUE(waitFor([&] { return seen.written(0) > round; }));
            handler.reset();
        });
        produce(shared, [&](Producer & producer, unsigned int number) {
            for (unsigned int call = 0;; ++call) {
                EXPECT_TRUE(waitFor([&] { return call - seen.written(number) < kMostUnderway || stopped != 0; }));
                TraceResult const result = producer.call();
                if (result != TRACE_OK) {
                    EXPECT_EQ(result, TRACE_SHUTTING_DOWN);
                    break;
                }
            }
            ++stopped;
        });
        end.join();
        releaseProducers();
        for (unsigned int number = 0; number < kProducers; ++number) {
            Numbers const & written = seen.numbers(number);
            // One call can have been underway, and its record have come behind the last one that is read.
            EXPECT_GE(written.size() + 1, accepted[number].size());
            ASSERT_LE(written.size(), accepted[number].size());
            EXPECT_TRUE(std::equal(written.begin(), written.end(), accepted[number].begin()));
        }
        EXPECT_EQ(seen.reportedLost(), 0U);
        EXPECT_THAT(seen.others(), kIsPlainLife);
    }
}

TEST_F(HandlerLoad, SwitchesAUnitWhileOthersCallIt)
{
    RecordStream const stream([&](std::string_view record) { ledger.receive(record); });
    auto handler = std::make_shared<Handler>();
    std::atomic<bool> areAllDone{false};
    Log unit("axis.control", handler);
    std::thread switching([&] {
        for (bool isEnabled = true; !areAllDone; isEnabled = !isEnabled) {
            unit.setEnablingState(isEnabled);
        }
    });
    std::atomic<unsigned int> taken{0};
    produce(handler, [&](Producer & /*producer*/, unsigned int /*number*/) {
        LogParametersExtended const parameters;
        for (unsigned int call = 0; call < kMostUnderway; ++call) {
            TraceResult const result = unit.logRealTime(kMessage, parameters);
            ASSERT_TRUE(result == TRACE_OK || result == TRACE_DISABLED) << result;
            taken += result == TRACE_OK ? 1U : 0U;
        }
    });
    areAllDone = true;
    switching.join();
    EXPECT_TRUE(waitFor([&] { return ledger.received() == taken + 2; })) << "beside the handler's first two";
    releaseProducers(); // so that the handler goes ahead of the stream
}

TEST_F(HandlerLoad, WritesEachRecordWithoutWaitingForTheNextCall)
{
    RecordStream const stream([&](std::string_view record) { ledger.receive(record); });
    auto const handler = std::make_shared<Handler>();
    Producer producer(0, handler);
    for (unsigned int call = 0; call < 50; ++call) {
        EXPECT_EQ(producer.call(), TRACE_OK);
        ASSERT_TRUE(waitFor([&] { return ledger.written(0) == call + 1; }));
    }
}

/// What a process holds of the system.
struct Holdings
{
    std::size_t threads = entriesOf("/proc/self/task");
    std::size_t descriptors = entriesOf("/proc/self/fd");
    std::size_t mappings = linesOf("/proc/self/maps"); // the stack of a thread that nobody joins stays
    std::size_t bytes = mallinfo2().uordblks;

    static std::size_t entriesOf(char const * folder)
    {
        std::filesystem::directory_iterator const entries(folder);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }
    static std::size_t linesOf(char const * path)
    {
        std::ifstream file(path);
        return static_cast<std::size_t>(std::count(std::istreambuf_iterator<char>(file), {}, '\n'));
    }
};

TEST_F(HandlerLoad, LeavesNothingBehind)
{
    constexpr std::size_t kRounds = kIsSlow ? 100 : 1000;
    auto const live = [] {
        auto const handler = std::make_shared<Handler>();
        Producer producer(0, handler);
        EXPECT_EQ(producer.call(), TRACE_OK);
    };
    RecordStream const stream([&](std::string_view /*record*/) {});
    for (unsigned int warmUp = 0; warmUp < 20; ++warmUp) {
        live();
    }
    Holdings const before;
    for (std::size_t round = 0; round < kRounds; ++round) {
        live();
    }
    Holdings const after;
    // A joined thread can still stand in the list for a moment.
    EXPECT_TRUE(waitFor([&] { return Holdings().threads == before.threads; }));
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_LT(after.mappings, before.mappings + kRounds);
    if (!kIsSlow) { // a sanitizer's heap does not count this way; that of addresses looks for leaks itself
        EXPECT_LT(after.bytes, before.bytes + kRounds) << "less than a byte each time";
    }
}

TEST_F(HandlerLoad, TakesAWorkerAwayThatIsStuckInTheStreamWhileTheQueueIsFull)
{
    std::thread([] {}).join(); // the first thread of a process brings that of a sanitizer with it
    std::size_t const threads = Holdings().threads;
    std::atomic<bool> isStuck{false};
    RecordStream const stream([&](std::string_view record) {
        ledger.receive(record);
        // The first record of a producer: its texts are so short that no memory is lost with the worker.
        while (record.find("|produce|") != std::string_view::npos) {
            isStuck = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    auto handler = std::make_shared<Handler>();
    produce(handler, [&](Producer & producer, unsigned int /*number*/) {
        (void)producer.call(); // another one may have filled the queue already
        EXPECT_TRUE(waitFor([&] { return isStuck.load(); }));
        while (producer.call() == TRACE_OK) {
        }
    });
    releaseProducers();
    handler.reset();
    EXPECT_THAT(ledger.others(),
                testing::ElementsAre(testing::HasSubstr("fixed size of 3200"), testing::HasSubstr("is started"),
                                     "Calling 'addTraceData' with data type 2 failed with error code 0xF0000006",
                                     "Thread 'TraceHandler' did not end after 3000 ms"));
    EXPECT_TRUE(waitFor([&] { return Holdings().threads == threads; }));
}

} // namespace

} // namespace common::log::test
