#include "trace_system.h"

#include "saved_states.h"
#include "system.h"
#include "unit_names.h"

#include <common/log/host/state_text.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace tracehost {

using namespace common::log::trace;
using common::log::host::flagsText;
using common::log::host::SwitchAuthor;
using common::log::host::SwitchBoard;
using common::log::host::SwitchEvent;

constexpr char const * kTraceComponent = "host";

namespace {

SwitchBoard::Addresses addresses()
{
    std::string const root = "trace/" + common::log::SnapName().getSnapName();
    return {root + "/units", root + "/admin/cfg"};
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
    m_switchNotes = &add(kHostSwitch);
    m_provider.start(m_service.makeProvider().release());
    m_switches.emplace(m_service, addresses(), [this](SwitchEvent const & event) {
        COMMON_LOG_MESSAGE(*m_switchNotes, "%s", textOf(event).c_str());
    });
}

TraceSystem::~TraceSystem()
{
    m_switches.reset(); // what expires from here on stays, since all of it ends
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

std::vector<TraceSystem::UnitState> TraceSystem::states() const
{
    std::map<std::string, EnablingState> const saved = savedStates(m_store, m_options.root);
    std::unordered_map<std::string, Log *> units;
    (void)m_manager->getAllTraceUnits(units); // has no failure
    std::vector<UnitState> states;
    for (auto const & [name, unit] : units) {
        auto const found = saved.find(name);
        states.push_back({name, unit->getDefaultEnablingState(), unit->getEnablingState(),
                          found == saved.end() ? std::nullopt : std::make_optional(found->second)});
    }
    std::sort(states.begin(), states.end(),
              [](auto const & left, auto const & right) { return left.name < right.name; });
    return states;
}

bool TraceSystem::saveStates()
{
    std::error_code ignored; // the store tells why it cannot save
    std::filesystem::create_directories(m_options.stateDirectory, ignored);
    m_switches->endAll();
    SwitchAuthor author;
    author.userId = userId();
    author.from = "--save";
    comm::nodebus::NbResult const result = m_switches->save(false, author).result;
    if (isFailure(result)) {
        COMMON_LOG_ERROR(*m_storeFaults, "Cannot save the states of the units in %s: %s",
                         m_options.stateDirectory.c_str(), result.toString());
    }
    return !isFailure(result);
}

TraceResult TraceSystem::forgetStates() { return m_manager->deleteEnablingStatesAllTraceUnits({}); }

std::string unitTable(std::vector<TraceSystem::UnitState> const & states)
{
    std::vector<std::vector<std::string>> rows{{"unit", "default", "current", "saved"}};
    for (TraceSystem::UnitState const & state : states) {
        rows.push_back({state.name, flagsText(state.given), flagsText(state.current),
                        state.saved ? flagsText(*state.saved) : std::string()});
    }
    std::string table;
    for (std::vector<std::string> const & row : rows) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            std::size_t width = 0;
            for (std::vector<std::string> const & other : rows) {
                width = std::max(width, other[column].size() + 2);
            }
            line += row[column] + std::string(width - row[column].size(), ' ');
        }
        table += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return table;
}

} // namespace tracehost
