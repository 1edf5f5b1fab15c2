#include "persistence_fixture.h"

#include "support/wire_table.h"

#include <filesystem>
#include <fstream>
#include <map>

namespace common::log::test {

using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

namespace {

// Each comes with those behind it, so that the first check of an operation has to be the one that ends it.
enum Fault
{
    phase,
    helper,
    file,
    nothing,
    failure,
    noMachine,
    otherMachine,
    notListed,
    none
};

char const * const kOperations[] = {"saveEnablingStatesAllTraceUnits", "loadEnablingStatesAllTraceUnits",
                                    "deleteEnablingStatesAllTraceUnits", "loadEnablingStateTraceUnit"};

struct Row
{
    Operation operation;
    Fault fault;
    TraceResult result;
    std::string calls;
    std::string report; ///< severity and text
};

// What several operations report.
#define NO_HELPER "error m_persistenceHelper is not available."
#define NO_FILE                                                                                                        \
    "error Failed to get type information file '/nowhere//bfbs/common/log/trace/enablingstates.bfbs', error code: "    \
    "NB_INVALID_ADDRESS"
#define NOTHING(what) "No data to " what " is available. Maybe no data was saved before."
#define DIAG "error detailed diagnosis from persistence helper: {-1, 0x000000AB, 2, disk full}."
#define NO_MACHINE "enabling states configuration because of active default machine identification 'tarvo'."
#define OTHER_MACHINE                                                                                                  \
    "enabling states configuration because actual machine configuration 'Win32_Emulation' is different to saved "      \
    "machine configuration 'win32_emulation'."
#define LOADED                                                                                                         \
    "message Set saved enabling state for trace unit 'axis' (messages: false, warnings: false, errors: false)."

Row const kRows[] = {
    {save, phase, TRACE_INVALID_ARGUMENT, "", "error Invalid persistence phase 'load'.  [r7]"},
    {save, helper, TRACE_NOT_AVAILABLE, "", NO_HELPER "  [r7]"},
    {save, file, TRACE_NOT_AVAILABLE, "", NO_FILE ".  [r7]"},
    {save, failure, TRACE_FAILED, "save enablingstates diag ",
     "error Failed to save trace enabling states configuration persistent, " DIAG "  [r7]"},
    {save, none, TRACE_OK, "save enablingstates ", ""},
    {load, phase, TRACE_INVALID_ARGUMENT, "", "error Invalid persistence phase 'save'.  [r7]"},
    {load, helper, TRACE_NOT_AVAILABLE, "", NO_HELPER "  [r7]"},
    {load, file, TRACE_NOT_AVAILABLE, "", NO_FILE ".  [r7]"},
    {load, nothing, TRACE_NO_SAVED_DATA, "exists ", "message " NOTHING("load") "  [r7]"},
    {load, failure, TRACE_FAILED, "exists load diag ", "error Failed to load enabling states, " DIAG "  [r7]"},
    {load, noMachine, TRACE_MACHINE_MISMATCH, "exists load ", "warning Could not load trace " NO_MACHINE "  [r7]"},
    {load, otherMachine, TRACE_MACHINE_MISMATCH, "exists load ",
     "warning Could not load trace " OTHER_MACHINE "  [r7]"},
    {load, none, TRACE_OK, "exists load ", ""},
    {remove, helper, TRACE_NOT_AVAILABLE, "", NO_HELPER},
    {remove, nothing, TRACE_NO_SAVED_DATA, "exists ", "message " NOTHING("delete")},
    {remove, failure, TRACE_FAILED, "exists remove diag ",
     "error Failed to delete saved trace enabling states configuration, " DIAG},
    {remove, none, TRACE_OK, "exists remove ", ""},
    {start, helper, TRACE_NOT_AVAILABLE, "", NO_HELPER},
    {start, file, TRACE_NOT_AVAILABLE, "", NO_FILE},
    {start, nothing, TRACE_NOT_FOUND, "existsDirect ", "warning " NOTHING("load")},
    {start, failure, TRACE_FAILED, "existsDirect loadDirect diag ", "error Failed to load enabling states, " DIAG},
    {start, noMachine, TRACE_NOT_FOUND, "existsDirect loadDirect ", "warning Could not load " NO_MACHINE},
    {start, otherMachine, TRACE_NOT_FOUND, "existsDirect loadDirect ", "warning Could not load " OTHER_MACHINE},
    {start, notListed, TRACE_NOT_FOUND, "existsDirect loadDirect ",
     "warning Trace unit 'axis' was not available in saved data."},
    {start, none, TRACE_OK, "existsDirect loadDirect ", LOADED},
};

class PersistenceOperation : public Persistence, public testing::WithParamInterface<Row>
{
};

TEST_P(PersistenceOperation, EndsAtItsFirstFailedCheckAndReportsIt)
{
    auto const & [operation, fault, result, calls, report] = GetParam();
    SCOPED_TRACE(std::string(kOperations[operation]) + ", " + report);
    Variant const data = request((operation == save) == (fault != phase) ? "save" : "load");
    manager->setPersistenceHelper(fault <= helper ? nullptr : &persistence.itf);
    manager->setBundleRootPath(fault <= file ? "/nowhere/" : COMMON_LOG_TRACE_BUNDLE_ROOT);
    saved(fault <= noMachine ? "tarvo" : fault == otherMachine ? "win32_emulation" : "Win32_Emulation", {});
    if (operation == start && fault >= notListed) { // of two, the first one counts
        char const * const name = fault == none ? "axis" : "Axis";
        saved("Win32_Emulation", {{"axi", kEverything}, {name, kNothing}, {name, kEverything}});
    }
    persistence.exists = fault > nothing;
    persistence.result = fault <= failure ? -1 : persistence.result;
    persistence.during = [&] { (void)manager->getEnablingStateAllTraceUnits(); }; // with the lock held it would hang
    TraceResult const returned = run(operation, data);

    EXPECT_EQ(persistence.calls, calls);
    EXPECT_EQ(persistence.request, operation == start || calls.empty() ? nullptr : &data);
    std::string expected = report;
    expected.insert(report.find(' ') + 1, std::string("Manager::") + kOperations[operation] + ": ");
    std::vector<std::string> const reported = takeReports();
    if (operation != start) {
        EXPECT_EQ(returned, result);
        EXPECT_EQ(reported, std::vector<std::string>(report.empty() ? 0 : 1, expected));
        return;
    }
    EXPECT_EQ(returned, TRACE_OK) << "a saved state fails no registration";
    EXPECT_EQ(units.back()->getEnablingState(), result == TRACE_OK ? kNothing : kWarningsOnly);
    std::size_t const failures = isFailure(result) && result != TRACE_NOT_FOUND ? 1 : 0;
    EXPECT_THAT(reported, AllOf(Contains(expected), Contains(HasSubstr("failed with error code")).Times(failures)));
}

INSTANTIATE_TEST_SUITE_P(Row, PersistenceOperation, testing::ValuesIn(kRows));

TEST_F(Persistence, TellsThePhasesApart)
{
    char const * const texts[] = {"SAVE", "query", "prepare", "load", "validate", "activate", "abort", "save", "save "};
    for (unsigned int i = 0; i < 9; ++i) {
        EXPECT_EQ(static_cast<unsigned int>(manager->getPersistencePhase(request(texts[i]))), i < 8 ? i + 1 : 1);
    }
}

// Each unit for itself. In some reports the name is what its string object holds: up to 15 characters, or an address.
TEST_F(Persistence, SavesAllUnitsAsAnyReaderOfTheFormatFindsThemAndLoadsThem)
{
    std::map<std::string, std::string> const states{{"axis.a", "mwe"}, {"axis.b", ""}, {"plc", "we"}};
    for (auto const & [name, flags] : states) {
        auto const has = [&flags = flags](char flag) { return flags.find(flag) != std::string::npos; };
        (void)registered(name, {has('m'), has('w'), has('e')});
    }
    EXPECT_EQ(run(save), TRACE_OK);
    auto const * const bytes = reinterpret_cast<std::uint8_t const *>(persistence.saved.data());
    flatbuffers::Verifier verifier(bytes, persistence.saved.size());
    EXPECT_TRUE(fbs::VerifyEnablingStatesBuffer(verifier));

    WireTable const saved(persistence.saved);
    EXPECT_EQ(saved.text(1), "Win32_Emulation");
    std::map<std::string, std::string> found;
    for (WireTable const & state : saved.tables(0)) {
        std::string & flags = found[state.text(0)];
        for (std::size_t id = 1; id <= 3; ++id) {
            if (state.has(id)) { // what is off is not stored
                EXPECT_EQ(state.byte(id), 1);
                flags += "mwe"[id - 1];
            }
        }
    }
    EXPECT_EQ(found, states);

    persistence.exists = true;
    Log const & later = registered("later", kWarningsOnly);
    (void)manager->disableAllTraceUnits();
    EXPECT_EQ(run(load, request("load")), TRACE_OK);
    EXPECT_EQ(units[1]->getEnablingState(), kNothing);
    EXPECT_EQ(units[2]->getEnablingState(), (EnablingState{false, true, true}));
    EXPECT_EQ(units[0]->getEnablingState(), kEverything);
    EXPECT_EQ(later.getEnablingState(), kNothing);
}

TEST_F(Persistence, LoadsTheUnitsBehindOneThatFailsAndReportsNamesAsEver)
{
    Log const & axis = registered("axis");
    Variant none;
    (void)none.setValue(std::vector<std::string>{"save"});
    for (char const * const name : {"fifteen.letters", "sixteen.letters."}) {
        saved("Win32_Emulation", {{"", {}}, {"axis", kWarningsOnly}, {name, kNothing}, {"axis", kEverything}});
        EXPECT_EQ(run(load, none), TRACE_INVALID_ARGUMENT) << "that of the empty name";
        EXPECT_EQ(axis.getEnablingState(), kEverything);
        EXPECT_EQ(persistence.request, &none);
        persistence.during = [&] { (void)manager->removeTraceUnit(units.back().get()); }; // while it is being loaded
        EXPECT_EQ(run(start, {}, name), TRACE_OK);
        persistence.during = [] {};
        persistence.diag.diagText = name;
        persistence.result = -1;
        EXPECT_EQ(run(remove), TRACE_FAILED);
        persistence.result = 0;
        std::vector<std::string> const reported = takeReports();
        EXPECT_THAT(reported,
                    Contains(EndsWith("saved enabling state for trace unit '' failed with error code 0xF0000003. ")));
        for (char const * const part :
             {"Set saved", "is not available anymore, so could not restore saved enabling state for this unit. ",
              "Restoring saved enabling state for trace unit", "Failed to delete"}) {
            bool const isShown = *part == 'S' || *name == 'f';
            auto const shows = HasSubstr(name);
            EXPECT_THAT(reported, Contains(AllOf(HasSubstr(part), testing::Conditional(isShown, shows, Not(shows)))));
        }
    }
}

TEST_F(Persistence, ReadsTheTypeFileAfreshEachTime)
{
    auto const root = std::filesystem::path(testing::TempDir()) / "persistence_test";
    std::filesystem::create_directories(root / "bfbs/common/log/trace");
    manager->setBundleRootPath(root.string());
    for (std::string const & content : {std::string("a\0b", 3), std::string(), std::string(100'000, '\n')}) {
        std::ofstream(root / "bfbs/common/log/trace/enablingstates.bfbs", std::ios::binary) << content;
        EXPECT_EQ(run(save), TRACE_OK);
        EXPECT_EQ(persistence.typeData, content);
    }
    std::filesystem::remove_all(root);
}

} // namespace

} // namespace common::log::test
