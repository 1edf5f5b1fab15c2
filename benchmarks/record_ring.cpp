// What a record costs in the ring: the tracing thread that adds it, a reader that keeps up, and one that comes for the
// last ten. The ring has its usual size and has been round once, so that every entry overwrites another one.

#include "figures.h"

#include <common/log/host/record_ring.h>
#include <common/log/host/record_ring_reader.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>

#include <unistd.h>

namespace {

using namespace common::log;
using benchmarks::Durations;
using benchmarks::nanoseconds;

constexpr unsigned int kRecords = 500'000;
constexpr unsigned int kVisits = 2000;

void measure(std::string const & folder)
{
    std::string const path = folder + "/record_ring_benchmark." + std::to_string(::getpid());
    {
        host::RecordRing ring(path);
        std::string text(200, 'x');
        text.front() = '\n';
        host::TappedRecord const record{0, text, host::RecordEnd::flush};
        for (unsigned int i = 0; i != kRecords; ++i) {
            ring.add(record);
        }
        host::RecordRingReader reader(path);
        reader.continueWithLast(0);
        Durations add(kRecords);
        Durations next(kRecords);
        Durations visit(kVisits);
        Durations behind(kVisits);
        for (unsigned int i = 0; i != kRecords; ++i) {
            std::int64_t const start = nanoseconds();
            ring.add(record);
            add.add(nanoseconds() - start);
        }
        std::int64_t const begin = nanoseconds(CLOCK_THREAD_CPUTIME_ID);
        for (unsigned int i = 0; i != kRecords; ++i) {
            ring.add(record);
        }
        double const each = static_cast<double>(nanoseconds(CLOCK_THREAD_CPUTIME_ID) - begin) / kRecords;
        reader.continueWithLast(kRecords);
        for (;;) {
            std::int64_t const start = nanoseconds();
            if (!reader.next()) {
                break;
            }
            next.add(nanoseconds() - start);
        }
        std::uint64_t const first = reader.state().firstNumber;
        std::uint64_t const count = ring.lastNumber() - first;
        for (unsigned int i = 0; i != kVisits; ++i) {
            std::int64_t start = nanoseconds();
            reader.continueWithLast(10);
            while (reader.next()) {
            }
            visit.add(nanoseconds() - start);
            if (i < 50) {
                start = nanoseconds();
                reader.continueBehind(first + count * i / 50);
                behind.add(nanoseconds() - start);
            }
        }
        std::printf("%s\n", folder.c_str());
        printRow("add", add);
        std::printf("%-36s%11.0f\n", "add, mean of processor time", each);
        printRow("next", next);
        printRow("continueWithLast(10) and reading", visit);
        printRow("continueBehind, anywhere in the ring", behind);
        std::printf("\n");
    }
    for (char const * const suffix : {"", ".old", ".lock"}) {
        (void)std::filesystem::remove(path + suffix);
    }
}

} // namespace

int main()
{
    benchmarks::printHeader("record_ring");
    std::printf("nanoseconds, records of 200 bytes\n\n%-36s%11s%11s%11s%11s\n", "", "p50", "p99", "p99.9", "worst");
    measure("/dev/shm");
    measure(std::filesystem::temp_directory_path().string());
    return EXIT_SUCCESS;
}
