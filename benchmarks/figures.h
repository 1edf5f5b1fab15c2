#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace common::log::benchmarks {

/// Nanoseconds of a system clock: one read in user space for CLOCK_MONOTONIC, a system call for the clock of a thread.
inline std::int64_t nanoseconds(clockid_t clock = CLOCK_MONOTONIC)
{
    timespec time{};
    (void)clock_gettime(clock, &time);
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

/// The durations of single calls, in nanoseconds. Its memory is there before the first one.
class Durations
{
public:
    explicit Durations(std::size_t count) : m_values(count) { m_values.clear(); }

    void add(std::int64_t value) { m_values.push_back(static_cast<std::uint32_t>(value)); }
    void add(Durations const & others);

    /// @param share  of the calls that took at most what is returned; 1 gives the worst
    double percentile(double share) const;

private:
    mutable std::vector<std::uint32_t> m_values;
};

/// Prints what figures mean nothing without: program, machine, compiler, date, load.
void printHeader(char const * program);

/// Prints a row of p50, p99, p99.9 and worst.
void printRow(std::string const & name, Durations const & durations);

/// Prints the same as shares of `floor`.
void printRatio(std::string const & name, Durations const & durations, Durations const & floor);

} // namespace common::log::benchmarks
