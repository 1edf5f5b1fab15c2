#include "tap_support.h"

#include <common/log/trace/output_hook.h>

#include <array>
#include <iostream>
#include <string_view>
#include <thread>

namespace common::log::host::test {

namespace {

using testing::EndsWith;

constexpr unsigned kStressRecords = TAP_STRESS_RECORDS; // by each thread
constexpr unsigned kStressThreads = 8;
constexpr std::string_view kRecordHead =
    "2024-03-07T10:15:30.000000Z||080A0112|Trace message|||axis|snap|axis.control|axis.cpp|run|12|";
constexpr std::string_view kHookHead = "ERR: stress (line 7): ";

bool isHookLine(unsigned number) { return number % 50 == 3; }

std::string stressText(unsigned thread, unsigned number)
{
    // Above what a pipe takes in one piece, now and then.
    std::size_t const filling = number % 500 == 7 ? 6000 : 20;
    return std::to_string(thread) + " " + std::to_string(number) + " " + std::string(filling, 'x') + ".";
}

void stress(unsigned thread)
{
    for (unsigned number = 0; number < kStressRecords; ++number) {
        if (isHookLine(number)) {
            trace::outputFunction("ERR", 7, "stress", "%s", stressText(thread, number).c_str());
        } else {
            sendRecord(stressText(thread, number));
        }
    }
}

/// Takes the stream of the stress apart while it comes: keeps the first line that is torn, doubled or out of order.
struct StressReader
{
    void take(std::string_view part)
    {
        addToHash(hash, part);
        text += part;
        for (auto end = text.find('\n', 1); end != std::string::npos; end = text.find('\n', 1)) {
            takeLine(text.substr(1, end - 1));
            text.erase(0, end);
        }
    }
    void takeLine(std::string const & line)
    {
        std::string_view const head = line.rfind(kHookHead, 0) == 0 ? kHookHead : kRecordHead;
        unsigned const thread = line.size() > head.size() ? static_cast<unsigned>(line[head.size()] - '0') : ~0U;
        std::string expected = "no such thread";
        if (thread < kStressThreads) {
            unsigned const number = next[thread]++;
            expected = std::string(isHookLine(number) ? kHookHead : kRecordHead) + stressText(thread, number);
        }
        if (line != expected && fault.empty()) {
            fault = "[" + line + "] for " + expected;
        }
    }
    static void addToHash(std::uint64_t & hash, std::string_view part)
    {
        for (char const character : part) {
            hash = (hash ^ static_cast<unsigned char>(character)) * 1099511628211U;
        }
    }

    std::string text;
    std::array<unsigned, kStressThreads> next{};
    std::string fault;
    std::uint64_t hash = 0;
};

} // namespace

class RecordTapStress : public RecordTapModes
{
};
INSTANTIATE_TEST_SUITE_P(Mode, RecordTapStress, kModes, modeName);

TEST_P(RecordTapStress, IsWholeAndInOrder)
{
    Channel pipe = Channel::pipe();
    StressReader reader;
    std::thread reading([&] {
        for (std::string part = pipe.next(); !part.empty(); part = pipe.next()) {
            reader.take(part);
        }
        reader.takeLine(reader.text.substr(1));
    });
    std::uint64_t lastNumber = 0;
    std::uint64_t hash = 0;
    RecordTapAccount account;
    {
        RecordSink const sink = [&](TappedRecord const & record) {
            StressReader::addToHash(hash, record.number == ++lastNumber ? record.text : "a gap");
        };
        RecordTapOptions tapOptions = options(pipe.writer(), {sink});
        tapOptions.batchBytes = std::size_t{1} << 27;   // room for what a slow reader leaves there
        tapOptions.restTime = std::chrono::minutes(10); // where there are more threads than cores, some wait for long
        RecordTap tap(tapOptions);
        std::vector<std::thread> threads;
        for (unsigned thread = 0; thread < kStressThreads; ++thread) {
            threads.emplace_back(stress, thread);
        }
        for (std::thread & thread : threads) {
            thread.join();
        }
        account = settled(tap);
    }
    pipe.closeWriter();
    reading.join();
    EXPECT_EQ(reader.fault, "");
    EXPECT_THAT(reader.next, testing::Each(kStressRecords));
    EXPECT_EQ(hash, reader.hash) << "the sinks saw the very bytes of the stream, in its order";
    EXPECT_EQ(account.records, account.written);
    EXPECT_GE(account.records, std::uint64_t{kStressThreads} * kStressRecords);
    EXPECT_EQ(account.lineEnds, 0U);
}

TEST(RecordTapStream, TakesOneWriteForEachRecord)
{
    Channel packets = Channel::packets();
    RecordTap const tap({packets.writer()});
    std::thread([] { sendRecord("from another thread"); }).join();
    sendRecord("first");
    sendRecord("second\nwith two lines");
    for (char const * const text : {"from another thread", "first", "second\nwith two lines"}) {
        EXPECT_EQ(packets.next(), "\n" + std::string(kRecordHead) + text);
    }
    EXPECT_EQ(tap.account().written, 3U);
}

TEST(RecordTapStream, KeepsALineWithItsFlushInFrontWhole)
{
    Channel packets = Channel::packets();
    Collector collector;
    RecordTap tap({packets.writer(), {collector.sink()}});
    trace::outputFunction("ERR", 104, "log", "one");
    trace::outputFunction("ERR", 0, "", "two");
    sendRecord("three");
    EXPECT_EQ(packets.next(), "\nERR: log (line 104): one");
    EXPECT_EQ(packets.next(), "\nERR: two");
    EXPECT_THAT(packets.next(), EndsWith("|three"));
    EXPECT_THAT(collector.ends(), testing::ElementsAre(RecordEnd::nextLine, RecordEnd::nextLine, RecordEnd::flush));
}

TEST(RecordTapStream, PutsNoTextAtTheEndOfSomebodyElsesLine)
{
    Channel packets = Channel::packets();
    RecordTap const tap({packets.writer()});
    std::cerr << "free " << 1 << std::endl;
    EXPECT_EQ(packets.next(), "free 1\n");
    sendRecord("a record");
    EXPECT_THAT(packets.next(), EndsWith("|a record"));
    std::cerr << "behind it " << std::flush;
    EXPECT_EQ(packets.next(), "\nbehind it ");
    std::cerr << "and on" << std::flush;
    EXPECT_EQ(packets.next(), "and on");
    std::thread([] { std::cerr << "other" << '.' << std::endl; }).join();
    EXPECT_EQ(packets.next(), "\nother.\n");
    EXPECT_EQ(tap.account().lineEnds, 2U);
}

TEST(RecordTapStream, BringsOutAnOversizedRecordInPieces)
{
    Channel packets = Channel::packets();
    Collector collector;
    RecordTap const tap({packets.writer(), {collector.sink()}, 1000});
    std::string const message(2500, 'm');
    std::thread writing([&] { std::cerr << "\n" << message << std::flush; });
    std::string received = packets.next();
    EXPECT_EQ(received.size(), 1000U);
    received += packets.next();
    received += packets.next();
    writing.join();
    EXPECT_EQ(received, "\n" + message);
    EXPECT_THAT(collector.ends(), testing::ElementsAre(RecordEnd::limit, RecordEnd::limit, RecordEnd::flush));
    std::cerr << "\n" << std::string(999, 'f') << std::flush; // just fits
    EXPECT_EQ(packets.next().size(), 1000U);
    EXPECT_EQ(tap.account().oversized, 1U);
}

TEST(RecordTapStream, TakesInsertionsOfAnySizeUpToAnyLimit)
{
    std::string text;
    for (char character = 'A'; text.size() < 100;
         character = character == 'z' ? 'A' : static_cast<char>(character + 1)) {
        text += character;
    }
    for (std::size_t const limit : {7U, 63U, 64U, 65U, 90U, 65536U}) {
        Channel packets = Channel::packets();
        RecordTap const tap({packets.writer(), {}, limit});
        for (std::size_t size = 1; size <= text.size(); ++size) {
            std::string const sent = text.substr(text.size() - size) + text.substr(0, size) + '\n';
            std::thread writing([&] { std::cerr << sent.substr(0, size) << sent.substr(size) << std::flush; });
            std::string received;
            while (received.size() < sent.size()) {
                received += packets.next();
            }
            writing.join();
            ASSERT_EQ(received, sent) << "limit " << limit;
        }
    }
}

TEST(RecordTapStream, IsAsBeforeAfterTheRemoval)
{
    std::streambuf * const buffer = std::cerr.rdbuf();
    std::ios_base::fmtflags const flags = std::cerr.flags();
    std::ostream * const tie = std::cerr.tie();
    Channel packets = Channel::packets();
    for (char const * const round : {"first", "second"}) { // the same thread, with another tap
        RecordTap const tap({packets.writer()});
        EXPECT_EQ(std::cerr.flags() & std::ios_base::unitbuf, 0);
        EXPECT_THROW(RecordTap(RecordTapOptions{}), std::logic_error);
        sendRecord(round);
        EXPECT_THAT(packets.next(), EndsWith(round));
    }
    EXPECT_EQ(std::cerr.rdbuf(), buffer);
    EXPECT_EQ(std::cerr.flags(), flags);
    EXPECT_EQ(std::cerr.tie(), tie);
}

TEST(RecordTapSink, FailsWithoutHarmToTheStream)
{
    Channel packets = Channel::packets();
    Collector collector;
    RecordSink const throwing = [](TappedRecord const &) { throw std::runtime_error("full"); };
    RecordSink const writing = [](TappedRecord const &) { std::cerr << "from a sink" << std::flush; };
    RecordTap const tap({packets.writer(), {throwing, writing, collector.sink()}});
    sendRecord("one");
    sendRecord("two");
    EXPECT_THAT(packets.next(), EndsWith("|one"));
    EXPECT_THAT(packets.next(), EndsWith("|two"));
    EXPECT_EQ(collector.ends().size(), 2U);
    EXPECT_EQ(tap.account().sinkFailures, 2U);
    EXPECT_EQ(tap.account().droppedTexts, 2U);
    EXPECT_TRUE(std::cerr.good());
}

} // namespace common::log::host::test
