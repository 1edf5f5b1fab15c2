#include "state_rules.h"

#include <gmock/gmock.h>

#include <string>

namespace tracehost {
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

std::string flagsOf(common::log::trace::EnablingState const & state)
{
    return std::string(state.messages ? "m" : "") + (state.warnings ? "w" : "") + (state.errors ? "e" : "");
}

TEST(StateRule, ReadsFlagsInAnyOrder)
{
    struct
    {
        char const * text;
        char const * pattern;
        char const * flags;
    } const cases[] = {{"a=m", "a", "m"}, {"a=ew", "a", "we"},   {"a=wem", "a", "mwe"},
                       {"a=-", "a", ""},  {"a=b=w", "a=b", "w"}, {"*.?=e", "*.?", "e"}};
    for (auto const & tested : cases) {
        SCOPED_TRACE(tested.text);
        auto const rule = parseStateRule(tested.text);
        ASSERT_TRUE(rule);
        EXPECT_EQ(rule->pattern, tested.pattern);
        EXPECT_EQ(flagsOf(rule->state), tested.flags);
    }
    for (char const * const wrong : {"", "a", "=m", "a=", "a=x", "a=mm", "a=m-", "a=--", "a=M", "a=m "}) {
        EXPECT_FALSE(parseStateRule(wrong)) << wrong;
    }
}

TEST(StateRule, FirstMatchWinsAndNoneMeansAll)
{
    std::vector<StateRule> const rules{*parseStateRule("cycle.wakeup=e"), *parseStateRule("cycle.*=-"),
                                       *parseStateRule("cycle.summary=m")};
    EXPECT_EQ(flagsOf(stateOfUnit(rules, "cycle.wakeup")), "e");
    EXPECT_EQ(flagsOf(stateOfUnit(rules, "cycle.summary")), "");
    EXPECT_EQ(flagsOf(stateOfUnit(rules, "host.start")), "mwe");
}

} // namespace
} // namespace tracehost
