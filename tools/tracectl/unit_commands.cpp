#include "unit_commands.h"

#include "door_answers.h"
#include "json_text.h"
#include "table.h"
#include "time_text.h"

#include <common/log/host/record_text.h>

namespace tracectl {

using common::log::host::printable;

namespace {

// More than any host has, and less than what an endless answer could make of this program.
constexpr std::size_t kMostLevels = 100;
constexpr std::size_t kMostNodes = 1'000'000;

std::string stateOfNode(DoorClient & door, std::string const & address)
{
    try {
        Json const answer = door.get(nodeTarget(address));
        auto const value = answer.find("value");
        std::optional<EnablingState> const state = value != answer.end() ? stateOf(*value) : std::nullopt;
        return state ? "  " + lettersOf(state, "") : "";
    } catch (Refusal const &) {
        return {}; // a node that cannot be read, or a level that only leads to nodes
    }
}

class Tree
{
public:
    Tree(DoorClient & door, Output & output) : m_door(door), m_output(output) {}

    void showBelow(std::string const & address, std::size_t level)
    {
        Json const answer = childrenOf(address);
        for (Json const & name : arrayField(answer, "children")) {
            m_nodes += 1;
            if (!name.is_string() || name.get_ref<std::string const &>().empty() || level > kMostLevels ||
                m_nodes > kMostNodes) {
                throw Failure(Status::refused, "the host's answer cannot be used: its nodes are no tree of names");
            }
            std::string const child = (address.empty() ? "" : address + "/") + name.get<std::string>();
            m_output.write(std::string(2 * level, ' ') + printable(name.get<std::string>()) +
                           stateOfNode(m_door, child) + "\n");
            showBelow(child, level + 1);
        }
    }

private:
    Json childrenOf(std::string const & address)
    {
        try {
            return m_door.get((address.empty() ? "/nodes" : nodeTarget(address)) + "?children");
        } catch (Refusal const &) {
            if (address.empty()) {
                throw;
            }
            return {{"children", Json::array()}}; // a node that cannot be browsed is the last of its branch
        }
    }

    DoorClient & m_door;
    Output & m_output;
    std::size_t m_nodes = 0;
};

std::string leftOf(Unit const & unit) { return unit.expiry ? secondsText(unit.expiry->seconds) : "-"; }

} // namespace

void showUnits(DoorClient & door, Options const & options, Output & output)
{
    if (options.isJson) {
        Json const answer =
            door.get(options.pattern.empty() ? "/units" : "/units?match=" + percentEncoded(options.pattern));
        output.write(safeJson(answer) + "\n");
        return;
    }
    std::vector<Unit> const units = unitsOf(door, options.pattern);
    if (options.isNamesOnly) {
        for (Unit const & unit : units) {
            output.write(printable(unit.name) + "\n");
        }
        return;
    }
    using Side = Table::Side;
    Table table({{"UNIT"},
                 {"NOW"},
                 {"DEFAULT"},
                 {"SAVED"},
                 {"LEFT", Side::right},
                 {"MESSAGES", Side::right},
                 {"WARNINGS", Side::right},
                 {"ERRORS", Side::right}});
    for (Unit const & unit : units) {
        table.add({unit.name, lettersOf(unit.current, "?"), lettersOf(unit.given, ""), lettersOf(unit.saved, "none"),
                   leftOf(unit), std::to_string(unit.messages), std::to_string(unit.warnings),
                   std::to_string(unit.errors)});
    }
    output.write(table.text(output.isTerminal()));
}

void showNodes(DoorClient & door, Output & output) { Tree(door, output).showBelow("", 0); }

} // namespace tracectl
