#include "handler_fixture.h"

#include <cstring>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;

std::string const kInvalidReport =
    "axis.control: Invalid main diagnosis code 0x080C0112: treat as trace error, using 0x080F0112 instead.";

class HandlerWorker : public HandlerTest
{
protected:
    HandlerWorker() { start(); }
};

TEST_F(HandlerWorker, WritesEachClassWithItsTitleAndTheCodeUnchanged)
{
    for (unsigned int const code : {0xFFFAFFFFU, 0x000E0000U, 0x12EF3456U}) {
        EXPECT_EQ(handler->addTraceData(traceEntry(code, "done")), TRACE_OK);
        EXPECT_THAT(drain(), ElementsAre(unitRecord(code, "done")));
    }
}

TEST_F(HandlerWorker, MakesAnErrorOfAnInvalidCode)
{
    InternalTrace internalTrace;
    fill(traceEntry(kInvalid, "done"), 1);
    EXPECT_THAT(drain(), ElementsAre(ownRecord(kError, "common::log::trace::Handler::logThread", kInvalidReport),
                                     unitRecord(kError, "done")));
}

TEST_F(HandlerWorker, MakesAnErrorOfAnInvalidCodeWithoutTheReportWhereThatIsOff)
{
    for (unsigned int const code : {kInvalid, 0U, 0xFFFBFFFFU}) {
        fill(traceEntry(code, "done"), 1);
        EXPECT_THAT(drain(), ElementsAre(unitRecord(kError, "done"))) << code;
    }
}

TEST_F(HandlerWorker, WritesAFinishedTextUnchanged)
{
    std::string const text = "100%s %n %d|" + std::string(243, 'x');
    fill(traceEntry(kMessage, text), 1);
    EXPECT_THAT(drain(), ElementsAre(unitRecord(kMessage, text)));
}

TEST_F(HandlerWorker, WritesLongestAndEmptyTextsWhole)
{
    DataOfQueue entry = entryOfType(DATA_TRACE);
    TraceData & data = entry.traceData;
    data.mainDiagnosisCode = kWarning;
    EXPECT_EQ(handler->addTraceData(entry), TRACE_OK);
    std::memset(data.componentName, 'c', sizeof data.componentName - 1);
    std::memset(data.snapName, 's', sizeof data.snapName - 1);
    std::memset(data.unitName, 'u', sizeof data.unitName - 1);
    std::memset(data.fileName, 'f', sizeof data.fileName - 1);
    std::memset(data.functionName, 'n', sizeof data.functionName - 1);
    EXPECT_EQ(handler->addTraceData(entry), TRACE_OK);
    std::string const unit(63, 'u');
    EXPECT_THAT(drain(), ElementsAre("T||080E0112|Trace warning |||||||||",
                                     "T||080E0112|Trace warning " + unit + "|||" + std::string(127, 'c') + "|" +
                                         std::string(63, 's') + "|" + unit + "|" + std::string(63, 'f') + "|" +
                                         std::string(63, 'n') + "||"));
}

TEST_F(HandlerWorker, PrintsTheLineAsASignedNumberAndZeroNotAtAll)
{
    DataOfQueue entry = traceEntry(kMessage, "");
    for (auto const & [line, text] : {std::pair<std::uint32_t, char const *>{0, ""}, {0x80000000U, "-2147483648"}}) {
        entry.traceData.line = line;
        EXPECT_EQ(handler->addTraceData(entry), TRACE_OK);
        (void)drain();
        EXPECT_EQ(stream.records().at(1).line, text);
    }
}

TEST_F(HandlerWorker, ReportsAnUnknownTypeInPlaceOfARecordAndGoesOn)
{
    for (auto const & [type, number] : {std::pair<std::uint32_t, char const *>{0, "0"}, {3, "3"}, {~0U, "-1"}}) {
        DataOfQueue entry = traceEntry(kMessage, "of no type");
        entry.dataType = static_cast<DataTypeOfQueue>(type);
        EXPECT_EQ(handler->addTraceData(entry), TRACE_OK);
        fill(traceEntry(kMessage, "next"), 1);
        EXPECT_THAT(drain(),
                    ElementsAre(ownRecord(kError, kWorker, std::string("Unknown data type of queue: ") + number),
                                unitRecord(kMessage, "next")));
    }
}

TEST_F(HandlerWorker, LooksAtNoSwitchOfTheUnit)
{
    Log unit("axis.control", handler);
    unit.setEnablingState(true);
    LogParametersExtended parameters;
    parameters.format = "queued";
    EXPECT_EQ(unit.logRealTime(kMessage, parameters), TRACE_OK);
    unit.setEnablingState(false);
    EXPECT_THAT(drain(), ElementsAre("T||080A0112|Trace message axis.control|||||axis.control||||queued"));
}

} // namespace

} // namespace common::log::test
