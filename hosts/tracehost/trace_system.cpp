#include "trace_system.h"

#include <algorithm>
#include <stdexcept>

namespace tracehost {

using namespace common::log::trace;

namespace {

constexpr char const * kOwnUnit = "common.log.trace";

/// Says that nothing is saved. Without any helper each registration reports that there is none.
PersistenceHelperItf const & emptyStore()
{
    static PersistenceHelperItf const store = [] {
        PersistenceHelperItf made;
        made.existsDirect = [](void * /*instance*/, std::string const & /*fileName*/) { return false; };
        return made;
    }();
    return store;
}

} // namespace

TraceSystem::TraceSystem(std::vector<StateRule> const & rules, std::optional<EnablingState> const & selfTrace,
                         CallAccount & account)
    : m_handler(std::make_shared<Handler>()), m_manager(std::make_shared<Manager>()), m_rules(rules), m_account(account)
{
    m_manager->setBundleRootPath(TRACEHOST_BUNDLE_ROOT);
    m_manager->setPersistenceHelper(&emptyStore());
    m_internalTrace.addTraceUnit(m_manager, m_handler);
    if (selfTrace) {
        (void)m_manager->setEnablingStateTraceUnit(kOwnUnit, *selfTrace); // reports by itself
    }
}

TraceSystem::~TraceSystem()
{
    for (CountedLog const & unit : m_units) {
        (void)m_manager->removeTraceUnit(&unit); // all of them were added
    }
    m_internalTrace.removeTraceUnit(m_manager);
}

CountedLog & TraceSystem::add(std::string const & name)
{
    CountedLog & unit = m_units.emplace_back(name.c_str(), m_handler, m_account);
    if (isFailure(m_manager->addTraceUnit(&unit, stateOfUnit(m_rules, name)))) {
        m_units.pop_back();
        throw std::runtime_error("the trace unit " + name + " cannot be registered");
    }
    return unit;
}

std::vector<TraceSystem::UnitState> TraceSystem::states() const
{
    std::unordered_map<std::string, Log *> units;
    (void)m_manager->getAllTraceUnits(units); // has no failure
    std::vector<UnitState> states;
    states.reserve(units.size());
    for (auto const & [name, unit] : units) {
        states.push_back({name, unit->getDefaultEnablingState(), unit->getEnablingState()});
    }
    std::sort(states.begin(), states.end(),
              [](auto const & left, auto const & right) { return left.name < right.name; });
    return states;
}

std::string unitTable(std::vector<TraceSystem::UnitState> const & states)
{
    std::string const title = "unit";
    std::size_t width = title.size();
    for (TraceSystem::UnitState const & state : states) {
        width = std::max(width, state.name.size());
    }
    auto const padded = [](std::string text, std::size_t size) {
        text.resize(std::max(size, text.size()) + 2, ' ');
        return text;
    };
    std::string const given = "default";
    std::string table = padded(title, width) + padded(given, given.size()) + "current\n";
    for (TraceSystem::UnitState const & state : states) {
        table +=
            padded(state.name, width) + padded(flagsText(state.given), given.size()) + flagsText(state.current) + "\n";
    }
    return table;
}

} // namespace tracehost
