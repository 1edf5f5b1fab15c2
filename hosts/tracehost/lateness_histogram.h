#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace tracehost {

/// How late cycles woke: counts in fixed buckets, each about 3 % wide, from 1 ns to beyond an hour.
///
/// Threads    One at a time.
/// Real time  Safe: no allocation, no lock. `add` is a few instructions; `percentile` and `clear` walk some 1,200
///            buckets.
class LatenessHistogram
{
public:
    /// A negative lateness counts as none.
    void add(std::chrono::nanoseconds lateness);
    void clear();

    std::uint64_t count() const { return m_count; }
    std::chrono::nanoseconds worst() const { return m_worst; }

    /// The lateness that `perMille` of 1000 cycles stayed within; up to 3 % above the true value, never above the
    /// worst one. 0 without any cycle.
    std::chrono::nanoseconds percentile(unsigned int perMille) const;

private:
    // A range of doubling values has this many buckets, so that none is wider than one part in 32 of its value.
    static constexpr unsigned int kSubBucketBits = 5;
    static constexpr std::size_t kSubBuckets = std::size_t{1} << kSubBucketBits;
    static constexpr unsigned int kMostBits = 42; ///< 2^42 ns are 73 minutes; what is later goes to the last bucket
    static constexpr std::size_t kBuckets = (kMostBits - kSubBucketBits + 1) * kSubBuckets;

    static std::size_t bucketOf(std::uint64_t nanoseconds);
    static std::uint64_t highestOf(std::size_t bucket);

    std::array<std::uint64_t, kBuckets> m_buckets{};
    std::uint64_t m_count = 0;
    std::chrono::nanoseconds m_worst{0};
};

} // namespace tracehost
