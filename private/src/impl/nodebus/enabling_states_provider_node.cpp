#include <common/log/trace/enabling_states_provider_node.h>

#include "helper/object_text.h"
#include "helper/self_trace.h"
#include "nodebus/map_to_nb_result.h"
#include "nodebus/metadata.h"

#include <comm/nodebus/nb_result.h>
#include <comm/nodebus/variant.h>
#include <common/log/trace/manager.h>

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace common::log::trace {

using namespace comm::nodebus;

namespace {

/// Of the table that a Manager hands out only the names are used: a unit can be gone by the time that its turn comes.
using Units = std::unordered_map<std::string, Log *>;

constexpr std::size_t kFlags = 3;

bool beginsWith(std::string_view text, std::string_view beginning)
{
    return text.substr(0, beginning.size()) == beginning;
}

/// Whether the prefix is that of the unit's own address: its name, and the dot at the end.
bool isUnitOf(std::string_view name, std::string_view prefix)
{
    return name.size() + 1 == prefix.size() && beginsWith(prefix, name);
}

void answer(NodeCallback const & callback, EnablingState const & state)
{
    Variant value;
    (void)value.setValue(std::vector<bool>{state.messages, state.warnings, state.errors});
    callback(NB_OK, &value);
}

/// What a client wants to have switched.
///
/// @return NB_OK, or what is wrong with `data`, and `state` then unchanged
NbResult readState(Variant const * data, EnablingState & state)
{
    if (data == nullptr) {
        return NB_INVALID_VALUE;
    }
    if (data->type == VariantType::bool8) {
        bool const isEnabled = data->getValue<bool>();
        state = {isEnabled, isEnabled, isEnabled};
        return NB_OK;
    }
    if (data->type != VariantType::arrayOfBool8) {
        return NB_TYPE_MISMATCH;
    }
    if (data->getSize() != kFlags) {
        return NB_SIZE_MISMATCH;
    }
    std::vector<bool> const flags = data->getArray<bool>();
    state = {flags[0], flags[1], flags[2]};
    return NB_OK;
}

/// Of a node that carries a state. That a unit cannot be browsed is what its metadata says, though a request for it is
/// answered.
NodeDescription describe(std::string const & use, bool isBrowsable)
{
    constexpr char const * kTypeOfValue = "types/nodebus/array-of-bool8";
    NodeDescription node;
    node.nodeClass = NodeClass_Value;
    node.isReadable = true;
    node.isWritable = true;
    node.isBrowsable = isBrowsable;
    node.text = use + "Format of value: {messages,warnings,errors} or single boolean value to set for all severities.";
    node.types = {{"readType", kTypeOfValue}, {"writeType", kTypeOfValue}};
    return node;
}

} // namespace

EnablingStatesProviderNode::EnablingStatesProviderNode(std::shared_ptr<Manager> const & manager,
                                                       std::string const & address)
    : m_manager(manager), m_address(address)
{}

EnablingStatesProviderNode::~EnablingStatesProviderNode() = default;

std::string EnablingStatesProviderNode::address2prefix(std::string const & address) const
{
    std::string prefix = address.substr(m_address.size());
    if (!prefix.empty()) {
        prefix.erase(0, 1);
        prefix += '/'; // behind one that is there already as well: such an address is nobody's
        std::replace(prefix.begin(), prefix.end(), '/', '.');
    }
    return prefix;
}

void EnablingStatesProviderNode::onCreate(std::string const & address, Variant const * /*data*/,
                                          NodeCallback const & callback)
{
    SELF_TRACE_WARNING("Request for address '%s' is unsupported.", address.c_str());
    callback(NB_UNSUPPORTED, nullptr);
}

void EnablingStatesProviderNode::onRemove(std::string const & address, NodeCallback const & callback)
{
    SELF_TRACE_WARNING("Request for address '%s' is unsupported.", address.c_str());
    callback(NB_UNSUPPORTED, nullptr);
}

// What cannot be fetched is reported in three places, since each report bears the name of its handler. It calls the
// operation by a name that it never had, which is what is looked for in records.

void EnablingStatesProviderNode::onBrowse(std::string const & address, NodeCallback const & callback)
{
    std::string const prefix = address2prefix(address);
    Units units;
    TraceResult const result = m_manager->getAllTraceUnits(units);
    if (isFailure(result)) {
        SELF_TRACE_ERROR("Calling 'getAllUnits' failed with error code 0x%08X", static_cast<unsigned int>(result));
        callback(mapToNbResult(result), nullptr);
        return;
    }
    std::set<std::string_view> children; // of the names in `units`, which outlives it
    for (auto const & [name, unit] : units) {
        if (beginsWith(name, prefix)) {
            std::string_view const rest = std::string_view(name).substr(prefix.size());
            children.insert(rest.substr(0, rest.find('.')));
        }
    }
    if (!children.empty()) {
        Variant value;
        (void)value.setValue(std::vector<std::string>(children.begin(), children.end()));
        callback(NB_OK, &value);
        return;
    }
    if (std::any_of(units.begin(), units.end(),
                    [&prefix](auto const & unit) { return isUnitOf(unit.first, prefix); })) {
        callback(NB_OK, nullptr);
        return;
    }
    SELF_TRACE_WARNING("Invalid address '%s' was requested.", address.c_str());
    callback(NB_INVALID_ADDRESS, nullptr);
}

void EnablingStatesProviderNode::onRead(std::string const & address, Variant const * /*data*/,
                                        NodeCallback const & callback)
{
    Units units;
    TraceResult result = m_manager->getAllTraceUnits(units);
    if (isFailure(result)) {
        SELF_TRACE_ERROR("Calling 'getAllUnits' failed with error code 0x%08X", static_cast<unsigned int>(result));
        callback(mapToNbResult(result), nullptr);
        return;
    }
    std::string const prefix = address2prefix(address);
    if (prefix.empty()) {
        answer(callback, m_manager->getEnablingStateAllTraceUnits());
        return;
    }
    EnablingState common{true, true, true};
    bool isFound = false;
    for (auto const & [name, unit] : units) {
        bool const isMember = beginsWith(name, prefix);
        if (!isMember && !isUnitOf(name, prefix)) {
            continue;
        }
        EnablingState state;
        result = m_manager->getEnablingStateTraceUnit(name, state);
        if (isFailure(result)) {
            SELF_TRACE_ERROR("Calling 'getEnablingStateTraceUnit' failed with error code 0x%08X",
                             static_cast<unsigned int>(result));
            callback(mapToNbResult(result), nullptr);
            return;
        }
        // At the unit of the address the walk ends. Were it a group as well, which no Manager lets come about, what
        // members came first would stand without it.
        if (isMember || !isFound) {
            common.messages = common.messages && state.messages;
            common.warnings = common.warnings && state.warnings;
            common.errors = common.errors && state.errors;
        }
        isFound = true;
        if (!isMember) {
            break;
        }
    }
    if (!isFound) {
        SELF_TRACE_WARNING("Request for address '%s' failed with error code '%s'.", address.c_str(),
                           NB_INVALID_ADDRESS.toString());
        callback(NB_INVALID_ADDRESS, nullptr);
        return;
    }
    answer(callback, common);
}

void EnablingStatesProviderNode::onWrite(std::string const & address, Variant const * data,
                                         NodeCallback const & callback)
{
    // The value ahead of the address: one that is wrong is wrong everywhere.
    EnablingState state;
    NbResult outcome = readState(data, state);
    if (outcome == NB_INVALID_VALUE) {
        SELF_TRACE_WARNING("Invalid argument: data");
    } else if (outcome == NB_SIZE_MISMATCH) {
        SELF_TRACE_WARNING("Invalid argument size '%d' for data, expected '%d'.", static_cast<int>(data->getSize()),
                           static_cast<int>(kFlags));
    } else if (outcome == NB_TYPE_MISMATCH) {
        SELF_TRACE_WARNING("Invalid argument type for data.");
    }
    if (isFailure(outcome)) {
        callback(outcome, nullptr);
        return;
    }
    std::string const prefix = address2prefix(address);
    Units units;
    TraceResult result = m_manager->getAllTraceUnits(units);
    if (isFailure(result)) {
        SELF_TRACE_ERROR("Calling 'getAllUnits' failed with error code 0x%08X", static_cast<unsigned int>(result));
        callback(mapToNbResult(result), nullptr);
        return;
    }
    if (prefix.empty()) {
        result = m_manager->setEnablingStateAllTraceUnits(state);
        if (isFailure(result)) {
            SELF_TRACE_ERROR("Calling 'setEnablingStateAllTraces' failed with error code 0x%08X",
                             static_cast<unsigned int>(result));
        }
        outcome = mapToNbResult(result);
    } else {
        outcome = NB_INVALID_ADDRESS;
        for (auto const & [name, unit] : units) {
            if (!beginsWith(name, prefix) && !isUnitOf(name, prefix)) {
                continue;
            }
            result = m_manager->setEnablingStateTraceUnit(name, state);
            if (isFailure(result)) {
                SELF_TRACE_ERROR("Calling 'setEnablingStateTraceUnit' for unit '%s' failed with error code 0x%08X",
                                 ObjectText(name).text(), static_cast<unsigned int>(result));
            }
            outcome = mapToNbResult(result);
            if (outcome != NB_OK) {
                break;
            }
        }
    }
    if (outcome != NB_OK) {
        SELF_TRACE_WARNING("Request for address '%s' failed with error code '%s'.", address.c_str(),
                           outcome.toString());
    }
    callback(outcome, nullptr);
}

void EnablingStatesProviderNode::onMetadata(std::string const & address, NodeCallback const & callback)
{
    flatbuffers::FlatBufferBuilder builder;
    std::string const prefix = address2prefix(address);
    Units units;
    TraceResult const result = m_manager->getAllTraceUnits(units);
    if (isFailure(result)) {
        SELF_TRACE_ERROR("Calling 'getAllUnits' failed with error code 0x%08X", static_cast<unsigned int>(result));
        callback(mapToNbResult(result), nullptr);
        return;
    }
    flatbuffers::Offset<Metadata> metadata;
    if (prefix.empty()) {
        metadata = metadataRoot(builder);
    }
    for (auto unit = units.begin(); metadata.IsNull() && unit != units.end(); ++unit) {
        if (beginsWith(unit->first, prefix)) {
            metadata = metadataGroup(builder);
        } else if (isUnitOf(unit->first, prefix)) {
            metadata = metadataLeaf(builder);
        }
    }
    if (metadata.IsNull()) {
        SELF_TRACE_WARNING("Request for address '%s' failed with error code '%s'.", address.c_str(),
                           NB_INVALID_ADDRESS.toString());
        callback(NB_INVALID_ADDRESS, nullptr);
        return;
    }
    answerMetadata(builder, metadata, callback);
}

flatbuffers::Offset<Metadata> EnablingStatesProviderNode::metadataRoot(flatbuffers::FlatBufferBuilder & builder) const
{
    return createMetadata(builder, describe("Use to enable and disable all trace units. ", true));
}

flatbuffers::Offset<Metadata> EnablingStatesProviderNode::metadataGroup(flatbuffers::FlatBufferBuilder & builder) const
{
    return createMetadata(builder,
                          describe("Use to enable and disable all trace units contained in this group. ", true));
}

flatbuffers::Offset<Metadata> EnablingStatesProviderNode::metadataLeaf(flatbuffers::FlatBufferBuilder & builder) const
{
    return createMetadata(builder, describe("Use to enable and disable this single trace unit. ", false));
}

} // namespace common::log::trace
