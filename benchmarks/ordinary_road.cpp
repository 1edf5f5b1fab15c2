// What a trace call on the ordinary road costs, and where: the whole call, its sink, its timestamp, and a call that is
// switched off, beside a plain fprintf of the same bytes. All of it goes to /dev/null, so that the figures are those of
// the program and not of a terminal.
//
// Then the whole call with the tap of the host library behind the stream, which writes each record at once or in batches,
// without and with a ring, by what the stream is.

#include "stream.h"

#include <common/log/host/record_ring.h>
#include <common/log/host/record_tap.h>
#include <common/log/trace.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <thread>
#include <utility>

namespace {

using namespace common::log;
using namespace common::log::trace;
using benchmarks::Stream;
using benchmarks::TemporaryRing;

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

void callWithTap(benchmark::State & state, std::chrono::milliseconds batchPeriod, Stream::Kind kind,
                 bool hasRing = false)
{
    Log unit("axis.control", nullptr);
    unit.setEnablingState(true);
    Stream stream(kind);
    host::RecordTapOptions options;
    options.descriptor = stream.descriptor();
    options.batchPeriod = batchPeriod;
    std::optional<TemporaryRing> ring;
    if (hasRing) {
        options.sinks.push_back(ring.emplace().sink());
    }
    host::RecordTap const tap(std::move(options));
    for (auto _ : state) {
        unit.log(kWarning, "axis", "machine", "axis_control.cpp", "AxisControl::cycle", 118, kFormat, 3, 12.125, -0.002,
                 "moving");
    }
    // Above 0, the calls counted as lost had no record to copy.
    state.counters["lost"] = static_cast<double>(tap.account().lostAltogether());
    stream.startReader(); // lets the end go on
}

constexpr std::chrono::milliseconds kDirect(0);
constexpr std::chrono::milliseconds kBatches(2);
BENCHMARK_CAPTURE(callWithTap, direct, kDirect, Stream::nullDevice)->Name("tap, /dev/null");
BENCHMARK_CAPTURE(callWithTap, direct, kDirect, Stream::file)->Name("tap, file");
BENCHMARK_CAPTURE(callWithTap, direct, kDirect, Stream::pipe)->Name("tap, pipe");
BENCHMARK_CAPTURE(callWithTap, batches, kBatches, Stream::nullDevice)->Name("tap with batches, /dev/null");
BENCHMARK_CAPTURE(callWithTap, batches, kBatches, Stream::file)->Name("tap with batches, file");
BENCHMARK_CAPTURE(callWithTap, batches, kBatches, Stream::pipe)->Name("tap with batches, pipe");
BENCHMARK_CAPTURE(callWithTap, batches, kBatches, Stream::stalledPipe)->Name("tap with batches, stalled pipe");
BENCHMARK_CAPTURE(callWithTap, ring, kBatches, Stream::nullDevice, true)->Name("ring and batches, /dev/null");
BENCHMARK_CAPTURE(callWithTap, ring, kBatches, Stream::file, true)->Name("ring and batches, file");
BENCHMARK_CAPTURE(callWithTap, ring, kBatches, Stream::pipe, true)->Name("ring and batches, pipe");
BENCHMARK_CAPTURE(callWithTap, ring, kBatches, Stream::stalledPipe, true)->Name("ring and batches, stalled pipe");

/// What the thread of the batches costs a host that traces nothing: the processor time of one second.
void idleBatches(benchmark::State & state)
{
    Stream const stream(Stream::nullDevice);
    host::RecordTapOptions options;
    options.descriptor = stream.descriptor();
    options.batchPeriod = std::chrono::milliseconds(state.range(0));
    host::RecordTap const tap(std::move(options));
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
}
BENCHMARK(idleBatches)
    ->Name("second with an idle tap, period in ms")
    ->Arg(0)
    ->Arg(2)
    ->Iterations(5)
    ->MeasureProcessCPUTime();

} // namespace

int main(int argc, char ** argv)
{
    if (std::freopen("/dev/null", "w", stderr) == nullptr || std::setvbuf(stderr, nullptr, _IONBF, 0) != 0) {
        std::puts("ordinary_road: /dev/null cannot take the place of standard error");
        return EXIT_FAILURE;
    }
    (void)std::signal(SIGPIPE, SIG_IGN); // as a host does: else the tap holds it off around each write
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}
