// Whether a door keeps up with many readers of events, of which some stall: event_readers [READERS STALLED RATE SECONDS].
// The readers live in a process of their own, so that what the host takes can be told from what they take.

#include "door_host.h"
#include "figures.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <thread>
#include <vector>

namespace {

using namespace common::log;
using namespace common::log::benchmarks;

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kPatience = 10 * kSecond; ///< behind the last record

struct Plan
{
    unsigned int readers = 1000;
    unsigned int stalled = 10;
    unsigned int rate = 2000;
    unsigned int seconds = 10;

    std::uint64_t records() const { return std::uint64_t{rate} * seconds; }
};

/// What both processes see: when each record was handed over.
struct Shared
{
    std::atomic<bool> isOpen{false};
    std::atomic<bool> areReadersThere{false};
    std::atomic<std::int64_t> end{0};
    std::array<std::atomic<std::int64_t>, 1'000'000> sent{};
};

/// Takes an event stream apart as it comes, and looks whether the records are in a row.
class Reader
{
public:
    int socket = -1;
    std::uint64_t last = 0; ///< record
    std::uint64_t missed = 0;
    std::int64_t worstLag = 0;
    bool isStarted = false;
    bool isFaulty = false;

    void take(char const * text, std::size_t size, Shared const & shared)
    {
        std::int64_t const now = nanoseconds();
        while (size != 0) {
            if (m_left == 0) { // in the head of the answer, or in that of a chunk
                takeByteOfHead(*text);
                ++text;
                --size;
                continue;
            }
            std::size_t const part = std::min(size, m_left);
            takeChunk(text, part, shared, now);
            text += part;
            size -= part;
            m_left -= part;
        }
    }

private:
    void takeByteOfHead(char character)
    {
        if (character != '\n') {
            m_head += character;
            return;
        }
        if (m_isInBody && m_head != "\r") {
            m_left = std::stoul(m_head, nullptr, 16);
        }
        m_isInBody = m_isInBody || m_head == "\r";
        m_head.clear();
    }

    void takeChunk(char const * text, std::size_t size, Shared const & shared, std::int64_t now)
    {
        while (size != 0) {
            auto const * const end = static_cast<char const *>(std::memchr(text, '\n', size));
            std::size_t const part = end != nullptr ? static_cast<std::size_t>(end - text) : size;
            // Only the beginning of a line is looked at.
            m_line.append(text, std::min(part, std::size_t{32} - std::min<std::size_t>(m_line.size(), 32)));
            if (end == nullptr) {
                return;
            }
            takeLine(shared, now);
            m_line.clear();
            text += part + 1;
            size -= part + 1;
        }
    }

    void takeLine(Shared const & shared, std::int64_t now)
    {
        if (m_line.rfind("id: ", 0) == 0) {
            std::uint64_t const number = std::stoull(m_line.substr(4));
            isFaulty = isFaulty || number != last + 1;
            last = number;
            if (number < shared.sent.size()) {
                worstLag = std::max(worstLag, now - shared.sent[number].load(std::memory_order_relaxed));
            }
        } else if (m_line.rfind("data: {\"missed\": ", 0) == 0) {
            std::uint64_t const count = std::stoull(m_line.substr(17));
            missed += count;
            last += count;
        }
        isStarted = isStarted || m_line == "event: run";
    }

    std::string m_head;
    bool m_isInBody = false;
    std::size_t m_left = 0; ///< of the chunk
    std::string m_line;
};

double seconds(std::int64_t duration) { return static_cast<double>(duration) / kSecond; }

void report(std::vector<Reader> const & readers, std::uint64_t records)
{
    std::size_t complete = 0;
    std::size_t faulty = 0;
    std::uint64_t missed = 0;
    std::int64_t worst = 0;
    for (Reader const & reader : readers) {
        complete += reader.last >= records && reader.missed == 0 && !reader.isFaulty ? 1U : 0U;
        faulty += reader.isFaulty ? 1U : 0U;
        missed += reader.missed;
        worst = std::max(worst, reader.worstLag);
    }
    rusage usage{};
    (void)::getrusage(RUSAGE_SELF, &usage);
    std::printf("readers that completed %zu of %zu, out of order %zu, records missed %llu, worst lag %.3f s\n",
                complete, readers.size(), faulty, static_cast<unsigned long long>(missed), seconds(worst));
    std::printf("processor time of the readers %.1f s\n",
                static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                    static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6);
    (void)std::fflush(stdout);
}

void readEvents(Plan const & plan, std::string const & folder, Shared & shared)
{
    constexpr std::string_view kRequest = "GET /events HTTP/1.1\r\nHost: h\r\n\r\n";
    std::vector<Reader> readers(plan.readers - plan.stalled);
    int const events = ::epoll_create1(EPOLL_CLOEXEC);
    for (Reader & reader : readers) {
        reader.socket = sendToDoor(folder, kRequest);
        epoll_event wanted{};
        wanted.events = EPOLLIN;
        wanted.data.ptr = &reader;
        (void)::epoll_ctl(events, EPOLL_CTL_ADD, reader.socket, &wanted);
    }
    for (unsigned int i = 0; i < plan.stalled; ++i) {
        (void)sendToDoor(folder, kRequest); // and never reads
    }
    std::vector<char> buffer(std::size_t{256} * 1024);
    std::array<epoll_event, 256> ready{};
    std::size_t started = 0;
    std::size_t done = 0;
    while (done < readers.size()) {
        int const count = ::epoll_wait(events, ready.data(), static_cast<int>(ready.size()), 100);
        for (int i = 0; i < count; ++i) {
            Reader & reader = *static_cast<Reader *>(ready[static_cast<std::size_t>(i)].data.ptr);
            bool const wasStarted = reader.isStarted;
            ssize_t const size = ::recv(reader.socket, buffer.data(), buffer.size(), 0);
            if (size > 0) {
                reader.take(buffer.data(), static_cast<std::size_t>(size), shared);
            }
            started += reader.isStarted && !wasStarted ? 1U : 0U;
            if (size <= 0 || reader.last >= plan.records()) {
                (void)::epoll_ctl(events, EPOLL_CTL_DEL, reader.socket, nullptr);
                ++done;
            }
        }
        if (started == readers.size()) {
            shared.areReadersThere = true;
        }
        if (shared.end != 0 && nanoseconds() > shared.end + kPatience) {
            break;
        }
    }
    report(readers, plan.records());
}

/// Waits for what the other process does.
template <typename Condition>
void waitFor(Condition const & condition)
{
    while (!condition()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

void writeRecords(Plan const & plan, std::string const & folder, Shared & shared)
{
    DoorHost host(folder);
    shared.isOpen = true;
    waitFor([&] { return shared.areReadersThere.load(); });
    std::int64_t const processorTime = nanoseconds(CLOCK_PROCESS_CPUTIME_ID);
    std::int64_t const start = nanoseconds();
    for (std::uint64_t number = 1; number <= plan.records(); ++number) {
        std::int64_t const due = start + static_cast<std::int64_t>(number) * kSecond / plan.rate;
        timespec const wakeup{due / kSecond, due % kSecond};
        (void)::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &wakeup, nullptr);
        shared.sent[number % shared.sent.size()].store(nanoseconds(), std::memory_order_relaxed);
        (void)host.unit.log(0x080E0112, "axis", "machine", "axis.cpp", "run", 12,
                            "Axis %d is %.3f mm off its way at cycle %d", 3, 0.125, static_cast<int>(number));
    }
    shared.end = nanoseconds();
    (void)::wait(nullptr);
    std::printf("host: %.2f s for the records, processor time %.1f s until the last reader was done\n",
                seconds(shared.end - start), seconds(nanoseconds(CLOCK_PROCESS_CPUTIME_ID) - processorTime));
}

} // namespace

int main(int argc, char ** argv)
{
    Plan plan;
    if (argc == 5) {
        plan = {static_cast<unsigned int>(std::atoi(argv[1])), static_cast<unsigned int>(std::atoi(argv[2])),
                static_cast<unsigned int>(std::atoi(argv[3])), static_cast<unsigned int>(std::atoi(argv[4]))};
    }
    printHeader("event_readers");
    std::printf("%u readers, %u of them stalled, %u records a second for %u s\n", plan.readers, plan.stalled, plan.rate,
                plan.seconds);
    (void)std::fflush(stdout);
    raiseDescriptorLimit();
    DoorFolder const folder;
    void * const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    Shared & shared = *new (memory) Shared;
    if (::fork() == 0) {
        waitFor([&] { return shared.isOpen.load(); });
        readEvents(plan, folder.path(), shared);
        ::_exit(0);
    }
    writeRecords(plan, folder.path(), shared);
    return EXIT_SUCCESS;
}
