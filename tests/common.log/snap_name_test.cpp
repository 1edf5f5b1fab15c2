#include <common/log/snap_name.h>

#include "support/internal_trace_access.h"
#include "support/scoped_environment.h"
#include "support/stream_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace common::log::test {

namespace {

using testing::IsEmpty;

class SnapNameTest : public testing::Test
{
protected:
    ScopedEnvironment environment{"SNAP_NAME", "first"};
    StreamCapture stream;
};

TEST_F(SnapNameTest, IsTheTextOfTheEnvironmentOrTheDefault)
{
    std::string const longName(5'000, 'x');
    for (std::string const & value : {std::string("abc"), std::string("two words | and \n more"), longName}) {
        environment.set(value);
        EXPECT_EQ(SnapName().getSnapName(), value);
    }
    environment.set(std::nullopt);
    EXPECT_EQ(SnapName().getSnapName(), "unknownSnap");
}

#if !defined(_WIN32)
TEST_F(SnapNameTest, IsEmptyForAVariableThatIsSetAndEmpty)
{
    environment.set("");
    EXPECT_EQ(SnapName().getSnapName(), "");
}
#endif

TEST_F(SnapNameTest, IsReadOnceForEachObject)
{
    SnapName const first;
    std::string const & name = first.getSnapName();
    environment.set("second");
    EXPECT_EQ(name, "first");
    EXPECT_EQ(&first.getSnapName(), &name);
    EXPECT_EQ(SnapName().getSnapName(), "second");
}

TEST_F(SnapNameTest, IsReportedWhenMessagesAreOnAndTheVariableIsSet)
{
    trace::InternalTrace internalTrace;
    EXPECT_THAT(stream.records(), IsEmpty()) << "its own name comes ahead of the reports";
    environment.set("second");
    (void)SnapName();
    EXPECT_THAT(stream.records(), IsEmpty()) << "messages are off";

    setFlags(internalTrace, {true, false, false});
    (void)SnapName();
    environment.set(std::nullopt);
    (void)SnapName();

    ASSERT_EQ(stream.records().size(), 1U);
    Record const record = stream.records().front();
    EXPECT_EQ(record.code, "080A0112");
    EXPECT_EQ(record.snapName, "first") << "that of the internal trace, not the new one";
    EXPECT_EQ(record.functionName, "common::log::SnapName::setSnapName");
    EXPECT_EQ(record.fileName, "snap_name.cpp");
    EXPECT_EQ(record.message, "Set snap name to: 'second'");
}

} // namespace

} // namespace common::log::test
