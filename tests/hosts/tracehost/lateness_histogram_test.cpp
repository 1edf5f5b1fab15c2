#include "lateness_histogram.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace tracehost {
namespace {

using std::chrono::nanoseconds;

TEST(LatenessHistogram, PercentilesAreAtMostOnePartIn32AboveTheTrueOnes)
{
    std::mt19937 random(20240307);
    std::uniform_real_distribution<double> exponent(0.0, 12.0);
    for (std::size_t const count : {1U, 2U, 999U, 1000U, 1001U, 20'000U}) {
        LatenessHistogram histogram;
        std::vector<std::int64_t> values;
        for (std::size_t value = 0; value < count; ++value) {
            values.push_back(static_cast<std::int64_t>(std::pow(10.0, exponent(random))));
            histogram.add(nanoseconds(values.back()));
        }
        std::sort(values.begin(), values.end());
        EXPECT_EQ(histogram.count(), count);
        EXPECT_EQ(histogram.worst().count(), values.back());
        for (unsigned int const perMille : {1U, 500U, 990U, 999U, 1000U}) {
            SCOPED_TRACE(testing::Message() << perMille << " of " << count);
            std::int64_t const exact = values[(count * perMille + 999) / 1000 - 1];
            EXPECT_GE(histogram.percentile(perMille).count(), exact);
            EXPECT_LE(histogram.percentile(perMille).count(), exact + exact / 32);
        }
    }
}

TEST(LatenessHistogram, TakesAnyValue)
{
    LatenessHistogram histogram;
    EXPECT_EQ(histogram.percentile(999).count(), 0);
    for (unsigned int bit = 0; bit < 63; ++bit) {
        for (std::int64_t const around : {-1, 0, 1}) {
            histogram.add(nanoseconds((std::int64_t{1} << bit) + around));
        }
    }
    histogram.add(nanoseconds(-5));
    histogram.add(nanoseconds::max());
    EXPECT_EQ(histogram.count(), 63U * 3 + 2);
    EXPECT_EQ(histogram.percentile(1).count(), 0);
    EXPECT_EQ(histogram.percentile(1000), nanoseconds::max());

    histogram.clear();
    histogram.add(nanoseconds(7));
    EXPECT_EQ(histogram.count(), 1U);
    EXPECT_EQ(histogram.worst().count(), 7);
    EXPECT_EQ(histogram.percentile(1).count(), 7);
}

} // namespace
} // namespace tracehost
