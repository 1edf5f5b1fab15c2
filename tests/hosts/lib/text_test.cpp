#include <common/log/host/duration_text.h>
#include <common/log/host/name_pattern.h>

#include <gmock/gmock.h>

#include <string>

namespace common::log::host {
namespace {

struct PatternCase
{
    char const * pattern;
    char const * name;
    bool isMatch;
};

TEST(StatePattern, MatchesByStarsAndQuestionMarks)
{
    PatternCase const cases[] = {
        {"cycle.wakeup", "cycle.wakeup", true},
        {"cycle.wakeup", "cycle.wakeups", false},
        {"cycle.wakeup", "cycle.wake", false},
        {"*", "input.a_log", true},
        {"**", "a", true},
        {"cycle.*", "cycle.summary", true},
        {"cycle.*", "cycle.", true},
        {"cycle.*", "cycle", false},
        {"*.s*y", "cycle.summary", true},
        {"*ab", "aab", true},
        {"*ab*ab", "abxabyab", true},
        {"*ab*abc", "abxabyab", false},
        {"input.?", "input.a", true},
        {"input.?", "input.", false},
        {"?*?", "ab", true},
        {"?*?", "a", false},
        {"[a]", "a", false},
        {"Cycle.*", "cycle.wakeup", false},
    };
    for (PatternCase const & tested : cases) {
        EXPECT_EQ(matchesPattern(tested.pattern, tested.name), tested.isMatch)
            << tested.pattern << " on " << tested.name;
    }
}

TEST(StatePattern, WithManyStarsEndsSoon)
{
    std::string pattern;
    for (int star = 0; star < 1000; ++star) {
        pattern += "*a";
    }
    EXPECT_FALSE(matchesPattern(pattern + "b", std::string(10'000, 'a')));
}

TEST(Duration, IsAWholeNumberWithAUnit)
{
    struct
    {
        char const * text;
        std::int64_t nanoseconds;
    } const cases[] = {{"1ns", 1},
                       {"250us", 250'000},
                       {"1ms", 1'000'000},
                       {"20s", 20'000'000'000},
                       {"2m", 120'000'000'000},
                       {"1h", 3'600'000'000'000},
                       {"0us", 0},
                       {"9223372036854775807ns", 9'223'372'036'854'775'807},
                       {"2562047h", 9'223'369'200'000'000'000}};
    for (auto const & tested : cases) {
        auto const parsed = parseDuration(tested.text);
        ASSERT_TRUE(parsed) << tested.text;
        EXPECT_EQ(parsed->count(), tested.nanoseconds) << tested.text;
        EXPECT_EQ(parseDuration(durationText(*parsed)), parsed) << tested.text;
    }
    for (char const * const wrong :
         {"", "0", "1", "us", "1 us", " 1us", "1us ", "-1us", "+1us", "1.5ms", "1e3us", "1US", "1min", "0x1us",
          "9223372036854775808ns", "2562048h", "99999999999999999999s"}) {
        EXPECT_FALSE(parseDuration(wrong)) << wrong;
    }
}

} // namespace
} // namespace common::log::host
