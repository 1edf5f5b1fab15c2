#include "hosts/lib/door_support.h"

#include <sstream>

namespace common::log::test {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Not;

namespace {

class DoorRecords : public DoorTest
{
protected:
    DoorRecords() { options.ringPath = folder.pathOf("ring"); }

    void openWith(std::uint64_t ringBytes)
    {
        ring = std::make_unique<RecordRing>(options.ringPath, RecordRingOptions{ringBytes});
        open();
    }
    void add(std::uint64_t count)
    {
        for (std::uint64_t i = 0; i < count; ++i) {
            DoorTest::add("message", "axis.control", "filler " + std::string(200, 'x'));
        }
    }
    /// The numbers of the records of an answer, or of events; "gap N" for these.
    static std::vector<std::string> numbersOf(std::string const & body)
    {
        std::vector<std::string> numbers;
        std::istringstream lines(body);
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("{\"number\":", 0) == 0) {
                numbers.push_back(line.substr(10, line.find(',') - 10));
            } else if (line.rfind("id: ", 0) == 0) {
                numbers.push_back(line.substr(4));
            } else if (line.rfind("data: {\"missed\":", 0) == 0) {
                numbers.push_back("gap " + std::to_string(std::stoi(line.substr(16))));
            }
        }
        return numbers;
    }
    RawClient follow(std::string const & query, std::string const & headers = {}) const
    {
        RawClient client(options.socketPath);
        client.send("GET /events" + query + " HTTP/1.0\r\n" + headers + "\r\n");
        return client;
    }
    static std::vector<std::string> sequence(std::uint64_t first, std::uint64_t last)
    {
        std::vector<std::string> numbers;
        for (; first <= last; ++first) {
            numbers.push_back(std::to_string(first));
        }
        return numbers;
    }
};

TEST_F(DoorRecords, AreFiltered)
{
    openWith(1 << 20U);
    DoorTest::add("message", "axis.control", "one"); // 1
    DoorTest::add("warning", "axis.limits", "two | three");
    DoorTest::add("error", "axis.control", "\xff<b>\x1b[31m\nfour");
    ring->add({0, "\nno record", RecordEnd::flush});
    DoorTest::add("error", "plc", "one"); // 5
    struct
    {
        std::string query;
        std::string numbers;
    } const rows[] = {
        {"", "1 2 3 4 5"},
        {"?after=0", "1 2 3 4 5"},
        {"?after=3", "4 5"},
        {"?after=5", ""},
        {"?after=18446744073709551615", ""},
        {"?last=0", ""},
        {"?last=2", "4 5"},
        {"?last=99", "1 2 3 4 5"},
        {"?last=1&severity=w&unit=axis.*", "3"},
        {"?last=2&text=one", "1 5"},
        {"?last=1&text=nothing", ""},
        {"?limit=2", "1 2"},
        {"?after=1&limit=1&severity=e", "3"},
        {"?severity=m", "1 2 3 4 5"},
        {"?severity=w", "2 3 5"},
        {"?severity=e", "3 5"},
        {"?unit=axis.c*", "1 3"},
        {"?text=no%20rec", "4"},
        {"?text=two%20%7C", "2"},
        {"?text=axis", ""},
    };
    for (auto const & row : rows) {
        HttpAnswer const answer = call("GET /records" + row.query);
        std::string joined;
        for (std::string const & number : numbersOf(answer.body)) {
            joined += (joined.empty() ? "" : " ") + number;
        }
        EXPECT_EQ(answer.status, 200) << row.query;
        EXPECT_EQ(joined, row.numbers) << row.query;
    }
    for (char const * const query : {"?after=-1", "?after=x", "?last=100001", "?limit=0", "?limit=100001",
                                     "?severity=x", "?severity=", "?after=1&last=1", "?unknown=1"}) {
        EXPECT_EQ(verdict(call("GET /records" + std::string(query))), "400 bad_request") << query;
    }
    EXPECT_EQ(verdict(call("GET /events?limit=1")), "400 bad_request");
    EXPECT_EQ(verdict(call("GET /events", "", "Last-Event-ID: x\r\n")), "400 bad_request");
    EXPECT_THAT(call("GET /records?after=2&limit=1").body,
                HasSubstr("\"message\":\"\xEF\xBF\xBD<b>\\u001b[31m\\nfour\"}"));
    EXPECT_THAT(call("GET /health").body, HasSubstr(R"("first":1,"last":5})"));
}

TEST_F(DoorRecords, ComeAsEventsInARowOverABreak)
{
    openWith(1 << 20U);
    add(3);
    std::string all;
    {
        RawClient const client = follow("?last=2");
        all = client.rest("id: 3");
        EXPECT_THAT(all, HasSubstr("text/event-stream"));
        EXPECT_THAT(all, HasSubstr("\r\n\r\nevent: run\ndata: {\"run\":\""));
        EXPECT_THAT(all, HasSubstr("\"next\":4}\n\nid: 2\ndata: {\"number\":2,"));
        add(2);
        all += client.rest("id: 5");
        EXPECT_THAT(numbersOf(all), ElementsAreArray(sequence(2, 5)));
    }
    add(700); // more than what is kept for a first reader
    RawClient const client = follow("", "Last-Event-ID: 5\r\n");
    all = client.rest("id: 705");
    add(3);
    all += client.rest("id: 708\n");
    EXPECT_THAT(numbersOf(all), ElementsAreArray(sequence(6, 708)));
    // A number of another ring: all of this one is new. With neither: only what comes.
    EXPECT_THAT(numbersOf(follow("?after=1000").rest("id: 708\n")), ElementsAreArray(sequence(1, 708)));
    RawClient const fromNow = follow("");
    (void)fromNow.rest("event: run");
    RawClient const filtered = follow("?severity=w&unit=axis.?imits&text=yes");
    (void)filtered.rest("event: run");
    DoorTest::add("error", "axis.limits", "no");
    DoorTest::add("message", "axis.limits", "yes");
    DoorTest::add("error", "axis.control", "yes");
    DoorTest::add("error", "axis.limits", "yes");
    EXPECT_THAT(numbersOf(filtered.rest("id: 712\n")), ElementsAre("712"));
    EXPECT_THAT(numbersOf(fromNow.rest("id: 712\n")), ElementsAreArray(sequence(709, 712)));
    EXPECT_THAT(numbersOf(follow("?last=2&severity=w&unit=axis.limits").rest("id: 712\n")), ElementsAre("709", "712"));
}

TEST_F(DoorRecords, AreMissedByAReaderThatStallsAndByNoOther)
{
    openWith(1 << 20U); // holds fewer than are written
    RawClient const stalled = follow("");
    (void)stalled.rest("event: run");
    RawClient const good = follow("");
    (void)good.rest("event: run");
    std::vector<std::string> seen;
    constexpr std::uint64_t kBatches = 40;
    constexpr std::uint64_t kOfBatch = 500;
    for (std::uint64_t i = 1; i <= kBatches; ++i) {
        add(kOfBatch);
        std::vector<std::string> const more = numbersOf(good.rest("id: " + std::to_string(i * kOfBatch) + "\n"));
        seen.insert(seen.end(), more.begin(), more.end());
    }
    EXPECT_THAT(seen.size(), testing::Ge(kBatches * kOfBatch)); // a number that a read cuts counts twice
    EXPECT_EQ(std::count_if(seen.begin(), seen.end(), [](auto const & text) { return text[0] == 'g'; }), 0);

    std::vector<std::string> const late = numbersOf(stalled.rest("id: " + std::to_string(kBatches * kOfBatch) + "\n"));
    std::uint64_t expected = 1;
    std::uint64_t missed = 0;
    for (std::string const & number : late) {
        if (number.rfind("gap ", 0) == 0) {
            missed += std::stoull(number.substr(4));
            expected += std::stoull(number.substr(4));
        } else {
            ASSERT_EQ(number, std::to_string(expected)) << "behind " << missed << " that were missed";
            ++expected;
        }
    }
    EXPECT_GT(missed, 0U);
    EXPECT_EQ(expected, kBatches * kOfBatch + 1);
}

TEST_F(DoorRecords, EndWithTheDoor)
{
    openWith(1 << 20U);
    RawClient const client = follow("");
    (void)client.rest("event: run");
    door.reset();
    EXPECT_EQ(client.next(), "");
    ring.reset();
    std::filesystem::remove(options.ringPath);
    open();
    EXPECT_EQ(verdict(call("GET /events")), "404 no_ring");
}

} // namespace

} // namespace common::log::test
