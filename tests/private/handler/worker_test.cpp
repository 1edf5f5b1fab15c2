#include "handler_fixture.h"

#include <cstring>

namespace common::log::test {

namespace {

using namespace common::log::trace;
using testing::ElementsAre;

class HandlerWorker : public HandlerTest
{
protected:
    HandlerWorker() { start(); }
};

TEST_F(HandlerWorker, WritesEachClassWithItsTitleAndMakesAnErrorOfAnInvalidCode)
{
    for (CodeClass const & codeClass : kCodeClasses) {
        std::string const record = unitRecord(codeClass.writtenCode, "done");
        fill(traceEntry(codeClass.code, "done"), 1);
        EXPECT_THAT(drain(), ElementsAre(record)) << "without a report where that is off";
        InternalTrace internalTrace;
        fill(traceEntry(codeClass.code, "done"), 1);
        std::vector<std::string> expected{record};
        if (codeClass.flag == nullptr) {
            expected.insert(expected.begin(), ownRecord(kError, "handler.cpp", "trace::Handler::logThread",
                                                        "axis.control: " + invalidCodeText(codeClass.code)));
        }
        EXPECT_EQ(drain(), expected);
    }
}

TEST_F(HandlerWorker, WritesFinishedLongestAndEmptyTextsWhole)
{
    std::string const text = "100%s %n %d|" + std::string(243, 'x');
    fill(traceEntry(kMessage, text), 1);
    DataOfQueue entry = entryOfType(DATA_TRACE);
    TraceData & data = entry.traceData;
    data.mainDiagnosisCode = kWarning;
    fill(entry, 1);
    std::memset(data.componentName, 'c', sizeof data.componentName - 1);
    std::memset(data.snapName, 's', sizeof data.snapName - 1);
    std::memset(data.unitName, 'u', sizeof data.unitName - 1);
    std::memset(data.fileName, 'f', sizeof data.fileName - 1);
    std::memset(data.functionName, 'n', sizeof data.functionName - 1);
    data.line = 0x80000000U;
    fill(entry, 1);
    std::string const unit(63, 'u');
    EXPECT_THAT(drain(), ElementsAre(unitRecord(kMessage, text), recordStart(kWarning) + "|||||||||",
                                     recordStart(kWarning) + unit + "|||" + std::string(127, 'c') + "|" +
                                         std::string(63, 's') + "|" + unit + "|" + std::string(63, 'f') + "|" +
                                         std::string(63, 'n') + "|-2147483648|"));
}

TEST_F(HandlerWorker, ReportsAnUnknownTypeInPlaceOfARecordAndGoesOn)
{
    for (auto const & [type, number] : {std::pair<std::uint32_t, char const *>{0, "0"}, {3, "3"}, {~0U, "-1"}}) {
        fill(entryOfType(type), 1);
        fill(traceEntry(kMessage, "next"), 1);
        EXPECT_THAT(drain(), ElementsAre(workerRecord(kError, std::string("Unknown data type of queue: ") + number),
                                         unitRecord(kMessage, "next")));
    }
}

} // namespace

} // namespace common::log::test
