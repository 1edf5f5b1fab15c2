#include "unit_nodes.h"

namespace common::log::host {

using namespace comm::nodebus;
using trace::EnablingState;

namespace {

constexpr std::size_t kFlags = 3;

NbResult readState(NodeService & nodes, std::string const & address, EnablingState & state)
{
    NodeAnswer const answer = nodes.read(address);
    if (isFailure(answer.result)) {
        return answer.result;
    }
    std::optional<EnablingState> const found = answer.value ? stateOf(*answer.value) : std::nullopt;
    state = found.value_or(state);
    return found ? NB_OK : NB_TYPE_MISMATCH;
}

} // namespace

bool isSame(EnablingState const & left, EnablingState const & right)
{
    return left.messages == right.messages && left.warnings == right.warnings && left.errors == right.errors;
}

std::optional<EnablingState> stateOf(Variant const & value)
{
    if (value.type == VariantType::bool8) {
        bool const isEnabled = value.getValue<bool>();
        return EnablingState{isEnabled, isEnabled, isEnabled};
    }
    if (value.type != VariantType::arrayOfBool8 || value.getSize() != kFlags) {
        return std::nullopt;
    }
    std::vector<bool> const flags = value.getArray<bool>();
    return EnablingState{flags[0], flags[1], flags[2]};
}

NbResult readUnit(NodeService & nodes, std::string const & address, EnablingState & state)
{
    NbResult result = NB_OK;
    // Twice, since a unit that goes between the two requests fails the second one with a result that does not say so.
    for (int attempt = 0; attempt < 2; ++attempt) {
        NodeAnswer const children = nodes.browse(address);
        if (isFailure(children.result)) {
            return children.result;
        }
        if (children.value) {
            return NB_INVALID_ADDRESS;
        }
        result = readState(nodes, address, state);
        if (!isFailure(result)) {
            break;
        }
    }
    return result;
}

NbResult readUnits(NodeService & nodes, std::string const & address, std::vector<UnitState> & units)
{
    NodeAnswer const children = nodes.browse(address);
    if (isFailure(children.result)) {
        return children.result;
    }
    if (!children.value) {
        EnablingState state;
        NbResult result = readState(nodes, address, state);
        if (isFailure(result)) {
            result = readUnit(nodes, address, state); // may be gone by now
        }
        if (!isFailure(result)) {
            units.push_back({address, state});
        }
        return result;
    }
    for (std::string const & name : children.value->getStrings()) {
        std::string child = address;
        child.append("/").append(name);
        NbResult const result = readUnits(nodes, child, units);
        if (isFailure(result) && result != NB_INVALID_ADDRESS) {
            return result;
        }
    }
    return NB_OK;
}

NbResult writeUnit(NodeService & nodes, std::string const & address, EnablingState const & state)
{
    Variant value;
    (void)value.setValue(std::vector<bool>{state.messages, state.warnings, state.errors});
    return nodes.write(address, &value).result;
}

} // namespace common::log::host
