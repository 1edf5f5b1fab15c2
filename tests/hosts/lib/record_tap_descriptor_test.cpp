#include "tap_support.h"

#include <csignal>
#include <iostream>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

namespace common::log::host::test {

namespace {

using testing::EndsWith;

/// Fills a non-blocking pipe to the last byte.
void fill(int descriptor)
{
    std::string const page(4096, '.');
    while (::write(descriptor, page.data(), page.size()) > 0) {
    }
}

/// A pipe that takes so many bytes before its reader has to come.
Channel pipeWithRoom(std::size_t bytes)
{
    Channel pipe = Channel::pipe(O_NONBLOCK);
    fill(pipe.writer());
    for (std::string taken; taken.size() < bytes;) {
        taken += pipe.next(4096); // a page becomes free with its last byte
    }
    return pipe;
}

} // namespace

class RecordTapDescriptor : public RecordTapModes
{
};
INSTANTIATE_TEST_SUITE_P(Mode, RecordTapDescriptor, kModes, modeName);

TEST_P(RecordTapDescriptor, CountsWhatAReaderThatIsGoneMissesAndRaisesNoSignal)
{
    Channel pipe = Channel::pipe();
    pipe.closeReader();
    RecordTap const tap(options(pipe.writer()));
    sendRecord("lost");
    EXPECT_EQ(settled(tap).lostFor(Loss::readerGone), 1U);
    EXPECT_EQ(tap.account().bytes, 0U);
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST_P(RecordTapDescriptor, GoesOnWhenAStalledReaderComesBack)
{
    Channel pipe = Channel::pipe(O_NONBLOCK);
    fill(pipe.writer());
    RecordTap const tap(options(pipe.writer(), {}, std::chrono::milliseconds(20)));
    sendRecord("lost");
    (void)settled(tap);
    (void)pipe.next();
    sendRecord("found");
    EXPECT_EQ(settled(tap).lostFor(Loss::readerStalled), 1U);
    EXPECT_EQ(tap.account().written, 1U);
    EXPECT_THAT(pipe.next(), EndsWith("|found"));
}

TEST(RecordTapDirect, HandsOverAheadOfABlockedWrite)
{
    Channel pipe = Channel::pipe(O_NONBLOCK);
    fill(pipe.writer());
    ::fcntl(pipe.writer(), F_SETFL, 0);
    Collector collector;
    RecordTap const tap({pipe.writer(), {collector.sink()}});
    std::thread writing([] { sendRecord("patient"); });
    while (collector.ends().empty()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(tap.account().written, 0U);
    EXPECT_THAT(pipe.nextUpTo("|patient"), EndsWith("|patient"));
    writing.join();
    EXPECT_EQ(tap.account().written, 1U);
}

TEST(RecordTapBatches, LeaveNoTracingThreadToAStalledReader)
{
    Channel pipe = pipeWithRoom(0);
    ::fcntl(pipe.writer(), F_SETFL, 0);
    Collector collector;
    RecordTapOptions const options{pipe.writer(), {collector.sink()}, 1000, {}, std::chrono::milliseconds(1), 5000};
    std::string received;
    RecordTapAccount account;
    std::thread reading;
    {
        RecordTap const tap(options);
        for (int record = 0; record < 100; ++record) {
            sendRecord(std::string(400, 'm') + "end"); // none waits
        }
        EXPECT_EQ(collector.ends().size(), 100U);
        EXPECT_EQ(tap.account().written, 0U);
        EXPECT_GE(tap.account().lostFor(Loss::readerStalled), 80U);
        reading = std::thread([&] { received = pipe.nextUpTo("flush"); });
        account = settled(tap);
        std::cerr << "\ntail without a flush";
    }
    reading.join();
    std::size_t ends = 0;
    for (auto place = received.find("mend"); place != std::string::npos; place = received.find("mend", place + 1)) {
        ++ends;
    }
    EXPECT_EQ(account.records, 100U);
    EXPECT_EQ(account.written, ends) << "whole ones";
    EXPECT_GE(ends, 5000U / 500U - 1);
    EXPECT_THAT(received, EndsWith("\ntail without a flush"));
}

TEST(RecordTapBatches, CountWhatWentOutWholeOfAPieceThatFailed)
{
    Channel pipe = pipeWithRoom(4096);
    RecordTap const tap({pipe.writer(), {}, 65536, std::chrono::milliseconds(0), std::chrono::milliseconds(50)});
    for (int record = 0; record < 10; ++record) {
        std::cerr << '\n' << std::string(999, 'm') << std::flush;
    }
    std::cerr << "begun" << std::flush;
    RecordTapAccount const account = settled(tap);
    std::string received = pipe.next();
    received.erase(0, received.find('\n'));
    EXPECT_GE(account.written, 1U); // four, unless a period ended in the midst of them
    EXPECT_EQ(account.written, received.size() / 1000);
    EXPECT_EQ(account.bytes, received.size());
    EXPECT_EQ(account.lostFor(Loss::readerStalled), 11 - account.written);
    std::cerr << " and ended" << std::flush; // its beginning is lost, and the last line belongs to another one
    EXPECT_EQ(pipe.next(), "\n and ended");
}

} // namespace common::log::host::test
