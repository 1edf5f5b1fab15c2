// What a trace call on the ordinary road costs, and where: the whole call, its sink, its timestamp, and a call that is
// switched off, beside a plain fprintf of the same bytes. All of it goes to /dev/null, so that the figures are those of
// the program and not of a terminal.

#include <common/log/trace.h>

#include <benchmark/benchmark.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

using namespace common::log;
using namespace common::log::trace;

constexpr unsigned int kWarning = 0x080E0112;
constexpr char const * kFormat = "axis %d position %.3f deviation %.3f state %s";

void callEnabled(benchmark::State & state)
{
    Log unit("axis.control", nullptr);
    unit.setEnablingState(true);
    for (auto _ : state) {
        unit.log(kWarning, "axis", "machine", "axis_control.cpp", "AxisControl::cycle", 118, kFormat, 3, 12.125, -0.002,
                 "moving");
    }
}
BENCHMARK(callEnabled)->Name("Log::log, enabled");

void callDisabled(benchmark::State & state)
{
    Log unit("axis.control", nullptr);
    for (auto _ : state) {
        benchmark::DoNotOptimize(unit.log(kWarning, "axis", "machine", "axis_control.cpp", "AxisControl::cycle", 118,
                                          kFormat, 3, 12.125, -0.002, "moving"));
    }
}
BENCHMARK(callDisabled)->Name("Log::log, disabled");

void sinkOfFinishedText(benchmark::State & state)
{
    timespec const time = Clock(CLOCK_ID_WALL).getTimestamp();
    for (auto _ : state) {
        sendLogNoVaList("", PRIORITY_WARNING, time, "", "080E0112", "Trace warning axis.control", "", "", "axis",
                        "machine", "axis.control", "axis_control.cpp", "AxisControl::cycle", "118",
                        "axis 3 position 12.125 deviation -0.002 state moving");
    }
}
BENCHMARK(sinkOfFinishedText)->Name("sendLogNoVaList");

void timestampText(benchmark::State & state)
{
    timespec time = Clock(CLOCK_ID_WALL).getTimestamp();
    char text[28];
    for (auto _ : state) {
        ++time.tv_sec;
        convertTimestamp(time, nullptr, text, sizeof text);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(timestampText)->Name("convertTimestamp");

void clockRead(benchmark::State & state)
{
    Clock const clock(CLOCK_ID_WALL);
    for (auto _ : state) {
        benchmark::DoNotOptimize(clock.getTimestamp());
    }
}
BENCHMARK(clockRead)->Name("Clock::getTimestamp");

void plainPrint(benchmark::State & state)
{
    for (auto _ : state) {
        (void)std::fprintf(stderr,
                           "\n%s||%08X|Trace warning %s|||%s|%s|%s|%s|%s|%d|axis %d position %.3f deviation %.3f state "
                           "%s",
                           "2024-03-07T10:15:30.123456Z", kWarning, "axis.control", "axis", "machine", "axis.control",
                           "axis_control.cpp", "AxisControl::cycle", 118, 3, 12.125, -0.002, "moving");
    }
}
BENCHMARK(plainPrint)->Name("fprintf of the same text");

} // namespace

int main(int argc, char ** argv)
{
    if (std::freopen("/dev/null", "w", stderr) == nullptr || std::setvbuf(stderr, nullptr, _IONBF, 0) != 0) {
        std::puts("ordinary_road: /dev/null cannot take the place of standard error");
        return EXIT_FAILURE;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}
