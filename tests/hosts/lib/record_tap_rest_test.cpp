#include "tap_support.h"

#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <future>
#include <iostream>
#include <thread>

#include <sys/wait.h>

namespace common::log::host::test {

namespace {

struct LateText
{
    ~LateText() { std::cerr << "behind all others" << std::flush; }
    int use = 0;
};
thread_local LateText t_late;

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

TEST(RecordTapRest, GoesOutWithTheSweep)
{
    Channel packets = Channel::packets();
    Collector collector;
    RecordTap const tap({packets.writer(), {collector.sink()}});
    std::cerr << "without a flush";
    EXPECT_EQ(packets.next(), "without a flush");
    ASSERT_EQ(collector.entries().size(), 1U);
    EXPECT_EQ(collector.entries()[0].end, RecordEnd::sweep);
    std::cerr << ", and on" << std::flush;
    EXPECT_EQ(packets.next(), ", and on");
    std::cerr << std::endl; // alone it is no record, but goes out as well
    EXPECT_EQ(packets.next(), "\n");
    EXPECT_EQ(tap.account().records, 2U);
    EXPECT_EQ(tap.account().sweeps, 2U);
}

TEST(RecordTapRest, GoesOutAtTheEndOfTheThread)
{
    Channel packets = Channel::packets();
    Collector collector;
    RecordTap const tap({packets.writer(), {collector.sink()}});
    std::thread thread([] {
        t_late.use = 1; // older than the thread's buffer, and so destroyed later
        std::cerr << "last words";
    });
    thread.join();
    EXPECT_EQ(packets.next(), "last words");
    EXPECT_EQ(packets.next(), "\nbehind all others");
    ASSERT_EQ(collector.entries().size(), 2U);
    EXPECT_EQ(collector.entries()[0].end, RecordEnd::threadEnd);
}

TEST(RecordTapRest, GoesOutAtTheRemovalAndNotAgainAtTheEndOfTheThread)
{
    Channel pipe = Channel::pipe();
    Collector collector;
    std::promise<void> hasWritten;
    std::promise<void> isRemoved;
    std::thread thread;
    {
        RecordTap const tap({pipe.writer(), {collector.sink()}});
        thread = std::thread([&] {
            std::cerr << "rest";
            hasWritten.set_value();
            isRemoved.get_future().wait();
        });
        hasWritten.get_future().wait();
    }
    isRemoved.set_value();
    thread.join();
    ASSERT_EQ(collector.entries().size(), 1U);
    EXPECT_EQ(pipe.rest(), "rest");
}

TEST(RecordTapFork, LeavesTheRestsToTheParent)
{
    Channel pipe = Channel::pipe();
    Collector collector;
    int status = -1;
    {
        RecordTap const tap({pipe.writer(), {collector.sink()}});
        std::promise<void> hasWritten;
        std::promise<void> mayEnd;
        std::thread thread([&] {
            std::cerr << "rest of a thread";
            hasWritten.set_value();
            mayEnd.get_future().wait();
        });
        hasWritten.get_future().wait();
        std::cerr << "rest of the parent";
        status = statusOfChild([&] {
            auto const handedOver = collector.entries().size();
            sendRecord("from the child");
            if (tap.account().written != 1 || collector.entries().size() != handedOver) {
                ::_exit(1);
            }
        });
        std::cerr << std::flush;
        mayEnd.set_value();
        thread.join();
    }
    EXPECT_EQ(status, 0);
    std::string const stream = pipe.rest();
    for (std::string const text : {"rest of a thread", "rest of the parent", "|from the child"}) {
        auto const position = stream.find(text);
        EXPECT_NE(position, std::string::npos) << text << " in " << stream;
        EXPECT_EQ(stream.find(text, position + 1), std::string::npos) << text << " in " << stream;
    }
}

TEST(RecordTapFork, FindsNoLockHeldInTheChild)
{
    Channel pipe = Channel::pipe();
    std::thread reading([&] {
        while (!pipe.next().empty()) {
        }
    });
    {
        RecordTap const tap({pipe.writer()});
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
