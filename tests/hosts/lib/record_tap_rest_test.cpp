#include "tap_support.h"

#include <atomic>
#include <future>
#include <iostream>
#include <thread>

#include <sys/wait.h>

namespace common::log::host::test {

namespace {

using testing::ElementsAre;

struct LateText
{
    ~LateText() { std::cerr << "behind all others" << std::flush; }
    int use = 0;
};
thread_local LateText t_late;

/// A thread that leaves a text without a flush, and lives until it may end.
class WaitingWriter
{
public:
    explicit WaitingWriter(char const * text)
    {
        std::promise<void> hasWritten;
        m_thread = std::thread([this, text, &hasWritten] {
            std::cerr << text;
            hasWritten.set_value();
            m_mayEnd.get_future().wait();
        });
        hasWritten.get_future().wait();
    }
    void end()
    {
        m_mayEnd.set_value();
        m_thread.join();
    }

private:
    std::promise<void> m_mayEnd;
    std::thread m_thread;
};

/// Runs in a forked child, whose status is 0 when it came to its end.
template <typename Body>
int statusOfChild(Body body)
{
    pid_t const child = ::fork();
    if (child == 0) {
        ::alarm(20); // a child that hangs dies
        body();
        ::_exit(0);
    }
    int status = -1;
    (void)::waitpid(child, &status, 0);
    return status;
}

} // namespace

class RecordTapRest : public RecordTapModes
{
};
INSTANTIATE_TEST_SUITE_P(Mode, RecordTapRest, kModes, modeName);

class RecordTapFork : public RecordTapModes
{
};
INSTANTIATE_TEST_SUITE_P(Mode, RecordTapFork, kModes, modeName);

TEST_P(RecordTapRest, GoesOutWithTheSweep)
{
    Channel packets = Channel::packets();
    Collector collector;
    RecordTap const tap(options(packets.writer(), {collector.sink()}));
    std::cerr << "without a flush";
    EXPECT_EQ(packets.next(), "without a flush");
    std::cerr << ", and on" << std::flush;
    EXPECT_EQ(packets.next(), ", and on");
    std::cerr << std::endl; // alone it is no record, but goes out as well
    EXPECT_EQ(packets.next(), "\n");
    EXPECT_THAT(collector.ends(), ElementsAre(RecordEnd::sweep, RecordEnd::flush));
    EXPECT_EQ(tap.account().records, 2U);
    EXPECT_EQ(tap.account().sweeps, 2U);
}

TEST_P(RecordTapRest, LosesNothingWhereTheSweepComesInTheMidst)
{
    Channel pipe = Channel::pipe();
    std::string received;
    std::thread reading([&] {
        for (std::string part = pipe.next(); !part.empty(); part = pipe.next()) {
            received += part;
        }
    });
    std::string written;
    {
        RecordTap const tap({pipe.writer(), {}, std::size_t{1} << 26, std::chrono::milliseconds(100), GetParam()});
        for (unsigned number = 0; tap.account().sweeps < 3; ++number) {
            std::string const text(number % 70, static_cast<char>('a' + number % 26));
            std::cerr << text;
            written += text;
            std::this_thread::yield();
        }
    }
    pipe.closeWriter();
    reading.join();
    EXPECT_TRUE(received == written) << received.size() << " of " << written.size() << " bytes";
}

TEST_P(RecordTapRest, GoesOutAtTheEndOfTheThread)
{
    Channel pipe = Channel::pipe();
    Collector collector;
    RecordTap const tap(options(pipe.writer(), {collector.sink()}));
    std::thread([] {
        t_late.use = 1; // older than the thread's buffer, and so destroyed later
        std::cerr << "last words";
    }).join();
    EXPECT_EQ(pipe.nextUpTo("others"), "last words\nbehind all others");
    EXPECT_THAT(collector.ends(), ElementsAre(RecordEnd::threadEnd, RecordEnd::flush));
}

TEST_P(RecordTapRest, GoesOutAtTheRemovalAndNotAgainAtTheEndOfTheThread)
{
    Channel pipe = Channel::pipe();
    Collector collector;
    auto tap = std::make_unique<RecordTap>(options(pipe.writer(), {collector.sink()}));
    WaitingWriter writer("rest");
    tap.reset();
    writer.end();
    EXPECT_EQ(collector.ends().size(), 1U);
    EXPECT_EQ(pipe.rest(), "rest");
}

TEST_P(RecordTapFork, LeavesTheRestsToTheParent)
{
    Channel pipe = Channel::pipe();
    Collector collector;
    auto tap = std::make_unique<RecordTap>(options(pipe.writer(), {collector.sink()}));
    WaitingWriter writer("rest of a thread");
    std::cerr << "rest of the parent";
    int const status = statusOfChild([&] {
        auto const handedOver = collector.ends().size();
        sendRecord("from the child");
        if (tap->account().written != 1 || collector.ends().size() != handedOver) {
            ::_exit(1);
        }
    });
    std::cerr << std::flush;
    writer.end();
    tap.reset();
    EXPECT_EQ(status, 0);
    std::string const stream = pipe.rest();
    for (std::string const text : {"rest of a thread", "rest of the parent", "|from the child"}) {
        auto const position = stream.find(text);
        EXPECT_NE(position, std::string::npos) << text << " in " << stream;
        EXPECT_EQ(stream.find(text, position + 1), std::string::npos) << text << " in " << stream;
    }
}

TEST_P(RecordTapFork, FindsNoLockHeldInTheChild)
{
    Channel pipe = Channel::pipe();
    std::thread reading([&] {
        while (!pipe.next().empty()) {
        }
    });
    {
        RecordTap const tap(options(pipe.writer()));
        std::atomic<bool> isOver{false};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 3; ++thread) {
            threads.emplace_back([&] {
                while (!isOver) {
                    sendRecord(std::string(3000, 'p'));
                }
            });
        }
        for (int child = 0; child < 30; ++child) {
            EXPECT_EQ(statusOfChild([] { sendRecord("from the child"); }), 0) << "child " << child;
        }
        isOver = true;
        for (std::thread & thread : threads) {
            thread.join();
        }
    }
    pipe.closeWriter();
    reading.join();
}

} // namespace common::log::host::test
