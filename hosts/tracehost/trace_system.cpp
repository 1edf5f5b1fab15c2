#include "trace_system.h"

#include "unit_names.h"

#include <common/log/host/state_text.h>

#include <flatbuffers/flatbuffers.h>
#include <persistenceparam_generated.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace tracehost {

using namespace common::log::trace;

constexpr char const * kTraceComponent = "host";

namespace {

constexpr char const * kOwnUnit = "common.log.trace";

bool isSame(EnablingState const & left, EnablingState const & right)
{
    return left.messages == right.messages && left.warnings == right.warnings && left.errors == right.errors;
}

} // namespace

TraceSystem::TraceSystem(Options const & options, CallAccount & account)
    : m_options(options), m_account(account), m_store(options.stateDirectory), m_handler(std::make_shared<Handler>()),
      m_manager(std::make_shared<Manager>()),
      m_service([this](std::string const & text) { COMMON_LOG_ERROR(*m_nodeFaults, "%s", text.c_str()); }),
      m_provider(m_manager)
{
    m_manager->setBundleRootPath(options.root);
    m_manager->setPersistenceHelper(m_store.helper());
    m_internalTrace.addTraceUnit(m_manager, m_handler);
    if (options.selfTrace) {
        (void)m_manager->setEnablingStateTraceUnit(kOwnUnit, *options.selfTrace); // reports by itself
    }
    m_nodeFaults = &add(kHostNodes); // ahead of the first request, which can only come behind the start
    m_storeFaults = &add(kHostStore);
    m_provider.start(m_service.makeProvider().release());
}

TraceSystem::~TraceSystem()
{
    m_provider.stop();
    (void)m_service.stop(); // no request is left that could fail
    for (CountedLog const & unit : m_units) {
        (void)m_manager->removeTraceUnit(&unit); // all of them were added
    }
    m_internalTrace.removeTraceUnit(m_manager);
}

CountedLog & TraceSystem::add(std::string const & name)
{
    CountedLog & unit = m_units.emplace_back(name.c_str(), m_handler, m_account);
    if (isFailure(m_manager->addTraceUnit(&unit, stateOfUnit(m_options.states, name)))) {
        m_units.pop_back();
        throw std::runtime_error("the trace unit " + name + " cannot be registered");
    }
    return unit;
}

EnablingState TraceSystem::stateAtRegistration(std::string const & name, EnablingState const & given)
{
    Log probe(name.c_str(), nullptr);
    (void)m_manager->addTraceUnit(&probe, given); // the name was free a moment ago
    (void)m_manager->removeTraceUnit(&probe);
    return probe.getEnablingState();
}

std::vector<TraceSystem::UnitState> TraceSystem::states()
{
    std::unordered_map<std::string, Log *> units;
    (void)m_manager->getAllTraceUnits(units); // has no failure
    std::vector<UnitState> states;
    for (auto const & [name, unit] : units) {
        EnablingState const given = unit->getDefaultEnablingState();
        EnablingState const current = unit->getEnablingState();
        // The library does not tell where a state is from. With a saved one it makes no difference what is given.
        (void)m_manager->removeTraceUnit(unit);
        bool const isSaved = isSame(stateAtRegistration(name, EnablingState{true, true, true}),
                                    stateAtRegistration(name, EnablingState{}));
        (void)m_manager->addTraceUnit(unit, given);
        unit->setEnablingState(current);
        states.push_back({name, given, current, isSaved});
    }
    std::sort(states.begin(), states.end(),
              [](auto const & left, auto const & right) { return left.name < right.name; });
    return states;
}

bool TraceSystem::saveStates()
{
    std::error_code ignored; // the store tells why it cannot save
    std::filesystem::create_directories(m_options.stateDirectory, ignored);
    flatbuffers::FlatBufferBuilder builder;
    builder.Finish(comm::nodebus::CreatePersistenceParamDirect(builder, "", "tracehost", "save"));
    comm::nodebus::Variant request;
    (void)request.setFlatbuffersView(builder.GetBufferPointer(), builder.GetSize());
    std::string const address = "trace/" + common::log::SnapName().getSnapName() + "/admin/cfg/save";
    comm::nodebus::NbResult const result = m_service.create(address, &request).result;
    if (isFailure(result)) {
        COMMON_LOG_ERROR(*m_storeFaults, "Cannot save the states of the units in %s: %s",
                         m_options.stateDirectory.c_str(), result.toString());
    }
    return !isFailure(result);
}

TraceResult TraceSystem::forgetStates() { return m_manager->deleteEnablingStatesAllTraceUnits({}); }

std::string unitTable(std::vector<TraceSystem::UnitState> const & states)
{
    std::vector<std::vector<std::string>> rows{{"unit", "default", "current", "from"}};
    for (TraceSystem::UnitState const & state : states) {
        rows.push_back({state.name, common::log::host::flagsText(state.given),
                        common::log::host::flagsText(state.current), state.isSaved ? "store" : "-"});
    }
    std::string table;
    for (std::vector<std::string> const & row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            std::size_t width = 0;
            for (std::vector<std::string> const & other : rows) {
                width = std::max(width, other[column].size() + 2);
            }
            bool const isLast = column + 1 == row.size();
            table += isLast ? row[column] + "\n" : row[column] + std::string(width - row[column].size(), ' ');
        }
    }
    return table;
}

} // namespace tracehost
