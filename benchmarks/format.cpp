// What a text costs: by the library's formatter, with digits from std::to_chars between texts that are there already,
// and by the C library. The first text is that of the benchmarks of the real-time road.

#include "measured_call.h"

#include "helper/format.h"

#include <common/log/argument_pointer.h>
#include <common/log/printf_format.h>

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

using namespace common::log;

constexpr std::size_t kSize = 256; // of the text of a record

COMMON_LOG_PRINTF_FORMAT(2, 3) int formatOwn(char * text, char const * format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    int const length = trace::formatArguments(text, kSize, format, argumentPointer(arguments));
    va_end(arguments);
    return length;
}

COMMON_LOG_PRINTF_FORMAT(2, 3) int formatSystem(char * text, char const * format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    int const length = std::vsnprintf(text, kSize, format, arguments);
    va_end(arguments);
    return length;
}

using Formatter = int (*)(char *, char const *, ...);

template <typename... Values>
void text(benchmark::State & state, Formatter formatter, char const * format, Values... values)
{
    char text[kSize];
    for (auto _ : state) {
        benchmark::DoNotOptimize(formatter(text, format, values...));
        benchmark::ClobberMemory();
    }
    state.SetLabel(text);
}

/// A changing number, so that no branch is learnt by heart.
void measuredText(benchmark::State & state, Formatter formatter)
{
    char text[kSize];
    unsigned int call = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            formatter(text, benchmarks::kMeasuredFormat, 3, 12.125 + ++call % 1000, -0.002, "moving"));
        benchmark::ClobberMemory();
    }
    state.SetLabel(text);
}

/// The same text as of `measuredText`, with no format to be read.
void measuredTextByToChars(benchmark::State & state)
{
    char text[kSize];
    unsigned int call = 0;
    for (auto _ : state) {
        char * next = text;
        char * const end = text + kSize;
        auto const put = [&](char const * piece) {
            std::size_t const length = std::strlen(piece);
            std::memcpy(next, piece, length);
            next += length;
        };
        put("axis ");
        next = std::to_chars(next, end, 3).ptr;
        put(" position ");
        next = std::to_chars(next, end, 12.125 + ++call % 1000, std::chars_format::fixed, 3).ptr;
        put(" deviation ");
        next = std::to_chars(next, end, -0.002, std::chars_format::fixed, 3).ptr;
        put(" state moving");
        *next = '\0';
        benchmark::ClobberMemory();
    }
    state.SetLabel(text);
}

// clang-format off
#define COMPARED(name, ...)                                                  \
    BENCHMARK_CAPTURE(text, name/own, formatOwn, __VA_ARGS__);               \
    BENCHMARK_CAPTURE(text, name/vsnprintf, formatSystem, __VA_ARGS__)
// clang-format on

BENCHMARK_CAPTURE(measuredText, own, formatOwn);
BENCHMARK_CAPTURE(measuredText, vsnprintf, formatSystem);
BENCHMARK(measuredTextByToChars);
COMPARED(plain, "the drive is ready and waits for the release");
COMPARED(integers, "%d of %u", -42, 4'000'000'000U);
COMPARED(hexadecimal, "code 0x%08X", 0x080E0112);
COMPARED(text, "%-12s|%.3s", "moving", "moving");
COMPARED(fixed, "%.3f", 1234.5678);
COMPARED(general, "%g", 0.000123456789);
COMPARED(allDigits, "%.17g", 0.1);
COMPARED(scientific, "%.6e", 6.02214076e23);
COMPARED(farScientific, "%.6e", 1.5e-300);
COMPARED(wide, "%.3f", 1e100);
COMPARED(precise, "%.1000f", 0.1);
COMPARED(hexFloat, "%a", 0.1);

} // namespace

BENCHMARK_MAIN();
