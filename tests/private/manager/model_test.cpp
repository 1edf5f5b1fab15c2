#include "manager_fixture.h"

#include <map>
#include <random>
#include <set>

namespace common::log::test {

using namespace common::log::trace;

namespace {

std::set<std::string> ancestorsOf(std::string const & name)
{
    std::set<std::string> ancestors;
    for (std::size_t position = 0; position < name.size(); ++position) {
        if (name[position] == '.') {
            ancestors.insert(name.substr(0, position));
        }
    }
    return ancestors;
}

/// The table as the plainest code would keep it: name, current state, default
/// state.
struct Model
{
    struct Entry
    {
        EnablingState current;
        EnablingState given;
    };

    TraceResult add(std::string const & name, EnablingState const & state)
    {
        if (units.count(name) != 0) {
            return TRACE_ALREADY_REGISTERED;
        }
        for (auto const & [other, entry] : units) {
            if (ancestorsOf(name).count(other) != 0 || ancestorsOf(other).count(name) != 0) {
                return TRACE_INVALID_UNIT_NAME;
            }
        }
        units[name] = {state, state};
        return TRACE_OK;
    }
    TraceResult find(std::string const & name) const
    {
        return name.empty() ? TRACE_INVALID_ARGUMENT : units.count(name) == 0 ? TRACE_NOT_FOUND : TRACE_OK;
    }
    TraceResult set(std::string const & name, EnablingState const & state)
    {
        if (find(name) == TRACE_OK) {
            units[name].current = state;
        }
        return find(name);
    }
    TraceResult get(std::string const & name, EnablingState & state) const
    {
        if (find(name) == TRACE_OK) {
            state = units.at(name).current;
        }
        return find(name);
    }
    EnablingState common() const
    {
        EnablingState state{true, true, true};
        for (auto const & [name, entry] : units) {
            state = {state.messages && entry.current.messages, state.warnings && entry.current.warnings,
                     state.errors && entry.current.errors};
        }
        return state;
    }

    std::map<std::string, Entry> units;
};

class RandomOperations : public ManagerTest
{
protected:
    void switchAll(Model & model, unsigned int operation, EnablingState const & state)
    {
        switch (operation) {
        case 0:
            ASSERT_EQ(manager->enableAllTraceUnits(), TRACE_OK);
            break;
        case 1:
            ASSERT_EQ(manager->disableAllTraceUnits(), TRACE_OK);
            break;
        case 2:
            ASSERT_EQ(manager->setEnablingStateAllTraceUnits(state), TRACE_OK);
            break;
        default:
            manager->setDefaultEnablingStateAllTraceUnits();
        }
        for (auto & [name, entry] : model.units) {
            EnablingState const all[]{kEverything, kNothing, state, entry.given};
            entry.current = all[operation];
        }
    }
};

TEST_F(RandomOperations, AnswerLikeAPlainModel)
{
    setFlags(internalTrace, kNothing);
    std::mt19937 random(20241); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same run each time
    auto const pick = [&random](unsigned int count) { return static_cast<unsigned int>(random() % count); };
    std::vector<std::string> const labels{"a", "A", "ab", ""};
    std::map<std::string, Log *> known;
    Model model;
    std::size_t refused = 0;
    for (int round = 0; round < 60'000; ++round) {
        std::string name = labels[pick(4)];
        for (unsigned int depth = pick(3); depth > 0; --depth) {
            name += "." + labels[pick(4)];
        }
        Log *& log = known[name];
        log = log != nullptr ? log : &unit(name);
        EnablingState const state{pick(2) == 0, pick(2) == 0, pick(2) == 0};
        SCOPED_TRACE(std::to_string(round) + " '" + name + "'");
        switch (pick(9)) {
        case 0:
        case 1: {
            TraceResult const expected = model.add(name, state);
            refused += expected == TRACE_INVALID_UNIT_NAME ? 1U : 0U;
            ASSERT_EQ(manager->addTraceUnit(log, state), expected);
            break;
        }
        case 2:
            ASSERT_EQ(manager->removeTraceUnit(log), model.units.erase(name) != 0 ? TRACE_OK : TRACE_NOT_FOUND);
            break;
        case 3:
            ASSERT_EQ(manager->setEnablingStateTraceUnit(name, state), model.set(name, state));
            break;
        case 4:
            ASSERT_EQ(manager->enableTraceUnit(name), model.set(name, kEverything));
            break;
        case 5:
            ASSERT_EQ(manager->disableTraceUnit(name), model.set(name, kNothing));
            break;
        case 6:
            if (pick(8) == 0) {
                switchAll(model, pick(4), state);
            }
            break;
        case 7: {
            ASSERT_EQ(manager->getEnablingStateAllTraceUnits(), model.common());
            EnablingState read = state;
            EnablingState expected = state;
            ASSERT_EQ(manager->getEnablingStateTraceUnit(name, read), model.get(name, expected));
            ASSERT_EQ(read, expected);
            break;
        }
        default: {
            std::unordered_map<std::string, Log *> table;
            ASSERT_EQ(manager->getAllTraceUnits(table), TRACE_OK);
            ASSERT_EQ(table.size(), model.units.size());
            for (auto const & [other, entry] : model.units) {
                ASSERT_EQ(table.at(other), known.at(other));
                ASSERT_EQ(table.at(other)->getEnablingState(), entry.current);
            }
        }
        }
    }
    EXPECT_GT(refused, 1000U) << "the names have to get into each other's way";
}

} // namespace

} // namespace common::log::test
