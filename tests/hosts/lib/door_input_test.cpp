#include "hosts/lib/door_support.h"
#include "support/process_state.h"

#include <fstream>
#include <random>
#include <sys/resource.h>

namespace common::log::test {

namespace {

constexpr std::size_t kMostMoreMemory = std::size_t{64} << 20U;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsMemoryCounted = false;
#else
constexpr bool kIsMemoryCounted = true;
#endif

std::size_t residentBytes()
{
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

/// Sees to it that the host is as it was behind whatever came in.
class DoorInput : public DoorTest
{
protected:
    DoorInput()
    {
        options.idleSeconds = 1;
        rlimit files{};
        (void)::getrlimit(RLIMIT_NOFILE, &files);
        files.rlim_cur = files.rlim_max; // both ends of all connections are here
        (void)::setrlimit(RLIMIT_NOFILE, &files);
        (void)registered("axis.control", kEverything);
        open();
        EXPECT_EQ(call("GET /health").status, 200);
        before = residentBytes();
    }
    ~DoorInput() override
    {
        expectSound();
        EXPECT_EQ(units[0]->log(0x080E0112, "c", "s", "f", "f", 1, "goes on"), TRACE_OK);
        EXPECT_THAT(takeReports(), testing::ElementsAre("warning f: goes on"));
    }
    void expectSound() const
    {
        EXPECT_EQ(call("GET /health").status, 200);
        if (kIsMemoryCounted) {
            EXPECT_LT(residentBytes(), before + kMostMoreMemory);
        }
    }
    /// What comes of bytes that are no whole request, or none that is in order.
    std::string verdictOf(std::string const & bytes) const
    {
        RawClient const client(options.socketPath);
        client.send(bytes);
        client.finish();
        return verdict(parseAnswer(client.rest()));
    }

    std::size_t before = 0;
};

TEST_F(DoorInput, EndsWhatIsNoRequest)
{
    std::string const end = "\r\nHost: h\r\n\r\n";
    std::string const put = "PUT /nodes/trace/machine/units HTTP/1.1\r\nHost: h\r\n";
    struct
    {
        std::string bytes;
        std::string verdict; ///< a regular expression
    } const rows[] = {
        {"", "end"},
        {"G", "end"},
        {"GET /health", "end"},
        {"GET /health HTTP/1.1\r\nHost: h\r\n", "end"},
        {put + "Content-Length: 4\r\n\r\ntr", "end"},
        {put + "Transfer-Encoding: chunked\r\n\r\n4\r\ntr", "end"},
        {put + "Transfer-Encoding: chunked\r\n\r\nzz\r\ntrue\r\n", "end|400"},
        {put + "Content-Length: 1000000000\r\n\r\n", "413 too_large"},
        {put + "Content-Length: 99999999999999999999999\r\n\r\n", "400|413.*"},
        {put + "Content-Length: -1\r\n\r\n", "400|413.*"},
        {put + "Content-Length: 4x\r\n\r\ntrue", "400|413.*"},
        {put + "Transfer-Encoding: chunked\r\n\r\n20000\r\n" + std::string(0x20000, ' '), "end|413.*"},
        {"GET /nodes/" + std::string(100'000, 'a') + " HTTP/1.1" + end, "414|end"},
        {"GET /nodes/a\x01 HTTP/1.1" + end, "400.*"},
        {"GET /nodes/a\tb HTTP/1.1" + end, "400.*|end"},
        {"GET /health HTTP/1.1\r\nHost: h\r\nA: " + std::string(100'000, 'a') + "\r\n\r\n", "431|end"},
        {"GET /health HTTP/9.9" + end, "400|505|end"},
        {"GET http://h/health HTTP/1.1" + end, "400.*"},
        {"* * *\r\n\r\n", "400|505|end"},
        {std::string(1000, '\0'), "400|505|end"},
        {std::string(100'000, '\n'), "4..|end"},
        {"\x16\x03\x01\x02" + std::string(600, '\xff'), "400|end"},
    };
    for (auto const & row : rows) {
        EXPECT_THAT(verdictOf(row.bytes), testing::MatchesRegex(row.verdict)) << row.bytes.substr(0, 80);
    }
}

/// COMMON_LOG_MALFORMED_REQUESTS tells how many, for longer runs.
TEST_F(DoorInput, OutlivesMalformedRequests)
{
    char const * const wanted = std::getenv("COMMON_LOG_MALFORMED_REQUESTS");
    int const count = wanted != nullptr ? std::atoi(wanted) : 1000;
    std::string const whole = "PUT /nodes/trace/machine/units/axis?for=9 HTTP/1.1\r\nHost: h\r\nContent-Length: "
                              "18\r\nLast-Event-ID: 7\r\n\r\n[true, false, true]";
    std::mt19937 random(20240307); // the same each time
    auto const below = [&random](std::size_t limit) { return static_cast<std::size_t>(random()) % limit; };
    for (int i = 0; i < count; ++i) {
        std::string bytes = whole;
        for (std::size_t changes = 1 + below(8); changes != 0; --changes) {
            std::size_t const place = below(bytes.size());
            switch (below(4)) {
            case 0:
                bytes[place] = static_cast<char>(below(256));
                break;
            case 1:
                bytes.erase(place, below(20));
                break;
            case 2:
                bytes.insert(place, below(30), static_cast<char>(below(256)));
                break;
            default:
                bytes.insert(place, bytes.substr(below(bytes.size()), below(30)));
            }
            bytes += bytes.empty() ? "x" : "";
        }
        // Behind a request that happens to be whole comes what is none.
        std::string const came = verdictOf(bytes + "\r\n\r\n\x01");
        ASSERT_THAT(came, testing::MatchesRegex("end|200|4.. ?[A-Za-z_]*|50[135] ?[a-z]*")) << i << ": " << bytes;
    }
    units[0]->setEnablingState(true);
}

TEST_F(DoorInput, OutlivesAThousandConnectionsAtOnce)
{
    std::vector<RawClient> clients;
    for (int i = 0; i < 1000; ++i) {
        clients.emplace_back(options.socketPath);
        ASSERT_EQ(clients.back().error(), 0) << i;
        clients.back().send("PUT /nodes/trace/machine/units HTTP/1.1\r\nHost: h\r\nContent-Length: 65536\r\n\r\n" +
                            std::string(60'000, ' '));
    }
    expectSound();
}

} // namespace

} // namespace common::log::test
