#include "tap_support.h"

#include <common/log/trace/output_hook.h>

#include <gmock/gmock.h>

#include <iostream>
#include <map>
#include <thread>

namespace common::log::host::test {

namespace {

using testing::EndsWith;
using testing::StartsWith;

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
constexpr int kStressRecords = 3000;
#else
constexpr int kStressRecords = 100000;
#endif
constexpr int kStressThreads = 8;

std::uint64_t addToHash(std::uint64_t hash, std::string_view text)
{
    for (char const character : text) {
        hash = (hash ^ static_cast<unsigned char>(character)) * 1099511628211U;
    }
    return hash;
}

/// Takes the stream of the stress apart while it comes: keeps the first line that is torn, doubled or out of order.
class StressReader
{
public:
    void take(std::string_view part)
    {
        m_hash = addToHash(m_hash, part);
        m_text += part;
        auto start = m_text.find('\n');
        for (auto end = m_text.find('\n', start + 1); end != std::string::npos; end = m_text.find('\n', start + 1)) {
            takeLine(m_text.substr(start + 1, end - start - 1));
            start = end;
        }
        m_text.erase(0, start);
    }
    void finish() { takeLine(m_text.substr(1)); }

    int next(int thread) { return m_next[std::to_string(thread)]; }
    std::string const & fault() const { return m_fault; }
    std::uint64_t hash() const { return m_hash; }

private:
    // "<thread> <number> <filling>." is the message of a record, and stands behind the place in a line of the hook.
    void takeLine(std::string const & line)
    {
        bool const isHookLine = line.rfind("ERR: ", 0) == 0;
        std::string const head = "ERR: stress (line 7): ";
        std::string message;
        try {
            message = isHookLine ? line.substr(std::min(head.size(), line.size())) : parseRecord(line).message;
        } catch (std::invalid_argument const &) {
        }
        auto const space = message.find(' ');
        auto const filling = message.find(' ', space + 1);
        if (space == std::string::npos || filling == std::string::npos || message.back() != '.') {
            note(line);
            return;
        }
        int & next = m_next[message.substr(0, space)];
        if (message.substr(space + 1, filling - space - 1) != std::to_string(next)) {
            note(line);
        }
        ++next;
    }
    void note(std::string const & line)
    {
        if (m_fault.empty()) {
            m_fault = "[" + line + "]";
        }
    }

    std::string m_text;
    std::map<std::string, int> m_next;
    std::string m_fault;
    std::uint64_t m_hash = 0;
};

void stress(int thread)
{
    for (int number = 0; number < kStressRecords; ++number) {
        std::string message = std::to_string(thread) + " " + std::to_string(number) + " ";
        // Above what a pipe takes in one piece, now and then.
        message.append(number % 500 == 7 ? 6000 : 20, 'x') += '.';
        if (number % 50 == 3) {
            trace::outputFunction("ERR", 7, "stress", "%s", (message.substr(0, 40) + ".").c_str());
        } else {
            sendRecord(message);
        }
    }
}

} // namespace

TEST(RecordTapStream, IsWholeAndInOrderWithManyThreads)
{
    Channel pipe = Channel::pipe();
    StressReader reader;
    std::thread reading([&] {
        for (std::string part = pipe.next(); !part.empty(); part = pipe.next()) {
            reader.take(part);
        }
        reader.finish();
    });
    std::uint64_t lastNumber = 0;
    std::uint64_t hash = 0;
    RecordTapAccount account;
    {
        RecordSink const sink = [&](TappedRecord const & record) {
            hash = record.number == lastNumber + 1 ? addToHash(hash, record.text) : 0;
            lastNumber = record.number;
        };
        RecordTap tap({pipe.writer(), {sink}});
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kStressThreads; ++thread) {
            threads.emplace_back(stress, thread);
        }
        for (std::thread & thread : threads) {
            thread.join();
        }
        account = tap.account();
    }
    pipe.closeWriter();
    reading.join();
    EXPECT_EQ(reader.fault(), "");
    for (int thread = 0; thread < kStressThreads; ++thread) {
        EXPECT_EQ(reader.next(thread), kStressRecords) << "thread " << thread;
    }
    // The sinks saw the very bytes of the stream, in its order, and each line once.
    EXPECT_EQ(hash, reader.hash());
    EXPECT_EQ(account.records, account.written);
    EXPECT_GE(account.records, std::uint64_t{kStressThreads} * kStressRecords);
    EXPECT_EQ(account.lineEnds, 0U);
}

TEST(RecordTapStream, TakesOneWriteForEachRecord)
{
    Channel packets = Channel::packets();
    RecordTap const tap({packets.writer()});
    std::thread other([] { sendRecord("from another thread"); });
    other.join();
    EXPECT_THAT(packets.next(), EndsWith("|from another thread"));
    sendRecord("first");
    sendRecord("second\nwith two lines");
    EXPECT_EQ(parseRecord(splitLines(packets.next()).at(0)).message, "first");
    EXPECT_THAT(packets.next(),
                AllOf(StartsWith("\n2024-03-07T10:15:30.000000Z|"), EndsWith("|second\nwith two lines")));
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
    auto const entries = collector.entries();
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].end, RecordEnd::nextLine);
    EXPECT_EQ(entries[2].end, RecordEnd::flush);
    EXPECT_EQ(entries[2].number, 3U);
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
    EXPECT_EQ(tap.account().oversized, 1U);
    ASSERT_EQ(collector.entries().size(), 3U);
    EXPECT_EQ(collector.entries()[1].end, RecordEnd::limit);
    EXPECT_EQ(collector.entries()[2].end, RecordEnd::flush);
    std::cerr << "\n" << std::string(999, 'f') << std::flush; // just fits
    EXPECT_EQ(packets.next().size(), 1000U);
    EXPECT_EQ(tap.account().oversized, 1U);
}

TEST(RecordTapStream, IsAsBeforeAfterTheRemoval)
{
    std::streambuf * const buffer = std::cerr.rdbuf();
    std::ios_base::fmtflags const flags = std::cerr.flags();
    std::ostream * const tie = std::cerr.tie();
    Channel packets = Channel::packets();
    for (int round = 0; round < 2; ++round) { // the same thread, with another tap
        RecordTap const tap({packets.writer()});
        EXPECT_EQ(std::cerr.flags() & std::ios_base::unitbuf, 0);
        EXPECT_THROW(RecordTap(RecordTapOptions{}), std::logic_error);
        sendRecord("round " + std::to_string(round));
        EXPECT_THAT(packets.next(), EndsWith("round " + std::to_string(round)));
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
    EXPECT_EQ(collector.entries().size(), 2U);
    EXPECT_EQ(tap.account().sinkFailures, 2U);
    EXPECT_EQ(tap.account().droppedTexts, 2U);
    EXPECT_TRUE(std::cerr.good());
}

} // namespace common::log::host::test
