#include "lateness_histogram.h"

#include <algorithm>

namespace tracehost {

void LatenessHistogram::add(std::chrono::nanoseconds lateness)
{
    lateness = std::max(lateness, std::chrono::nanoseconds(0));
    ++m_buckets[bucketOf(static_cast<std::uint64_t>(lateness.count()))];
    ++m_count;
    m_worst = std::max(m_worst, lateness);
}

void LatenessHistogram::clear()
{
    m_buckets.fill(0);
    m_count = 0;
    m_worst = std::chrono::nanoseconds(0);
}

std::chrono::nanoseconds LatenessHistogram::percentile(unsigned int perMille) const
{
    // Rounded up, and in two parts, so that no count overflows.
    std::uint64_t const rank = m_count / 1000 * perMille + (m_count % 1000 * perMille + 999) / 1000;
    std::uint64_t within = 0;
    for (std::size_t bucket = 0; bucket + 1 < kBuckets && rank > 0; ++bucket) {
        within += m_buckets[bucket];
        if (within >= rank) {
            return std::min(std::chrono::nanoseconds(highestOf(bucket)), m_worst);
        }
    }
    return m_worst; // of the last bucket, which has no upper end
}

// The first 32 buckets hold one value each. Behind them stand 32 for each further bit: the position of the highest bit
// chooses the row, the five bits below it the bucket.
std::size_t LatenessHistogram::bucketOf(std::uint64_t nanoseconds)
{
    if (nanoseconds < kSubBuckets) {
        return static_cast<std::size_t>(nanoseconds);
    }
    auto const highestBit = 63U - static_cast<unsigned int>(__builtin_clzll(nanoseconds));
    if (highestBit >= kMostBits) {
        return kBuckets - 1;
    }
    unsigned int const shift = highestBit - kSubBucketBits;
    return shift * kSubBuckets + static_cast<std::size_t>(nanoseconds >> shift);
}

std::uint64_t LatenessHistogram::highestOf(std::size_t bucket)
{
    if (bucket < kSubBuckets) {
        return bucket;
    }
    std::size_t const shift = bucket / kSubBuckets - 1;
    std::uint64_t const start = bucket - shift * kSubBuckets;
    return ((start + 1) << shift) - 1;
}

} // namespace tracehost
