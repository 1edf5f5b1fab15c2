#include "state_rules.h"

#include <common/log/host/state_text.h>

#include <gmock/gmock.h>

#include <string>

namespace tracehost {
namespace {

TEST(StateRule, ReadsFlagsInAnyOrder)
{
    struct
    {
        char const * text;
        char const * pattern;
        char const * flags;
    } const cases[] = {{"a=m", "a", "m"}, {"a=ew", "a", "we"},   {"a=wem", "a", "mwe"},
                       {"a=-", "a", "-"}, {"a=b=w", "a=b", "w"}, {"*.?=e", "*.?", "e"}};
    for (auto const & tested : cases) {
        SCOPED_TRACE(tested.text);
        auto const rule = parseStateRule(tested.text);
        ASSERT_TRUE(rule);
        EXPECT_EQ(rule->pattern, tested.pattern);
        EXPECT_EQ(common::log::host::flagsText(rule->state), tested.flags);
    }
    for (char const * const wrong : {"", "a", "=m", "a=", "a=x", "a=mm", "a=m-", "a=--", "a=M", "a=m "}) {
        EXPECT_FALSE(parseStateRule(wrong)) << wrong;
    }
}

} // namespace
} // namespace tracehost
