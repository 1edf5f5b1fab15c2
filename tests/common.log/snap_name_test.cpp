#include <common/log/snap_name.h>

#include "support/internal_trace_access.h"
#include "support/trace_test.h"

namespace common::log::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using SnapNameTest = TraceTest;

TEST_F(SnapNameTest, IsTheTextOfTheEnvironmentAtItsMakingOrTheDefault)
{
    SnapName const first;
    for (std::string const & value : {std::string("two words | and \n more"), std::string(5'000, 'x')}) {
        environment.set(value);
        EXPECT_EQ(SnapName().getSnapName(), value);
    }
    environment.set(std::nullopt);
    EXPECT_EQ(SnapName().getSnapName(), "unknownSnap");
#if !defined(_WIN32)
    environment.set("");
    EXPECT_EQ(SnapName().getSnapName(), "");
#endif
    EXPECT_EQ(first.getSnapName(), "machine");
}

TEST_F(SnapNameTest, IsReportedWhenMessagesAreOnAndTheVariableIsSet)
{
    trace::InternalTrace internalTrace;
    EXPECT_THAT(stream.text(), IsEmpty()) << "its own name comes ahead of the reports";
    environment.set("second");
    (void)SnapName();
    EXPECT_THAT(stream.text(), IsEmpty()) << "messages are off";
    setFlags(internalTrace, {true, false, false});
    (void)SnapName();
    environment.set(std::nullopt);
    (void)SnapName();
    // Under the name of the internal trace, not the new one.
    EXPECT_THAT(takeLines(), ElementsAre(ownRecord(kMessage, "snap_name.cpp", "SnapName::setSnapName",
                                                   "Set snap name to: 'second'")));
}

} // namespace

} // namespace common::log::test
