#include <common/log/trace/config_provider_node.h>

#include "helper/self_trace.h"
#include "nodebus/map_to_nb_result.h"
#include "nodebus/metadata.h"
#include "persistence_request.h"

#include <comm/nodebus/address.h>
#include <common/log/trace/manager.h>

#include <algorithm>
#include <vector>

namespace common::log::trace {

using namespace comm::nodebus;

namespace {

constexpr char const * kSave = "save";
constexpr char const * kLoad = "load";
// NOLINTNEXTLINE(readability-identifier-naming): known by this name
std::vector<std::string> const ConfigNodeNames{kSave, kLoad};

constexpr std::size_t kPartsOfNode = 4;
constexpr std::size_t kPartsOfLeaf = 5;

/// What a leaf has to do for a request.
enum class Task
{
    refuse, ///< it is none
    ignore, ///< of a phase that means nothing to the leaf
    pass,   ///< of a phase of loading in which there is nothing to do here
    run
};

/// The save leaf knows one phase, while the load leaf takes part in all those of a load.
Task taskOf(std::string const & leaf, PersistencePhase phase)
{
    if (phase == PersistencePhase::none) {
        return Task::refuse;
    }
    if (leaf == kSave) {
        return phase == PersistencePhase::save ? Task::run : Task::ignore;
    }
    switch (phase) {
    case PersistencePhase::load:
        return Task::run;
    case PersistencePhase::query:
    case PersistencePhase::prepare:
    case PersistencePhase::validate:
    case PersistencePhase::activate:
    case PersistencePhase::abort:
        return Task::pass;
    default:
        return Task::ignore;
    }
}

} // namespace

ConfigProviderNode::ConfigProviderNode(std::shared_ptr<Manager> const & manager) : m_manager(manager) {}

ConfigProviderNode::~ConfigProviderNode() = default;

void ConfigProviderNode::onCreate(std::string const & address, Variant const * data, NodeCallback const & callback)
{
    Address const path(address);
    if (path.parts.size() == kPartsOfNode) {
        SELF_TRACE_WARNING("Request for address '%s' is unsupported.", address.c_str());
        callback(NB_UNSUPPORTED, nullptr);
        return;
    }
    if (path.parts.size() != kPartsOfLeaf) {
        SELF_TRACE_WARNING("Invalid address '%s' was requested.", address.c_str());
        callback(NB_INVALID_ADDRESS, nullptr);
        return;
    }
    if (data == nullptr) {
        SELF_TRACE_WARNING("Argument data is nullpointer.");
        callback(NB_INVALID_HANDLE, nullptr);
        return;
    }
    PersistencePhase const phase = m_manager->getPersistencePhase(*data);
    std::string const detailText = detailTextOf(*data, phase);
    std::string const & leaf = path.parts.back();
    if (leaf != kSave && leaf != kLoad) {
        callback(NB_INVALID_ADDRESS, nullptr);
        return;
    }
    switch (taskOf(leaf, phase)) {
    case Task::refuse:
        SELF_TRACE_WARNING("Invalid argument type for data.");
        callback(NB_TYPE_MISMATCH, nullptr);
        break;
    case Task::ignore:
        SELF_TRACE_WARNING("Unsupported persistence phase '%s'. %s", phaseText(*data), detailText.c_str());
        callback(NB_OK_NO_CONTENT, nullptr);
        break;
    case Task::pass:
        callback(NB_OK, nullptr);
        break;
    case Task::run:
        callback(leaf == kSave ? onCreate(*data, detailText, SaveRequest())
                               : onCreate(*data, detailText, LoadRequest()),
                 nullptr);
        break;
    }
}

NbResult ConfigProviderNode::onCreate(Variant const & data, std::string const & detailText, SaveRequest /*kind*/)
{
    TraceResult const result = m_manager->saveEnablingStatesAllTraceUnits(data);
    if (isFailure(result)) {
        SELF_TRACE_ERROR("Calling 'saveEnablingStatesAllTraceUnits' failed with error code 0x%08X. %s",
                         static_cast<unsigned int>(result), detailText.c_str());
    }
    return mapToNbResult(result);
}

NbResult ConfigProviderNode::onCreate(Variant const & data, std::string const & detailText, LoadRequest /*kind*/)
{
    TraceResult result = m_manager->loadEnablingStatesAllTraceUnits(data);
    if (result == TRACE_NO_SAVED_DATA) {
        m_manager->setDefaultEnablingStateAllTraceUnits();
        return NB_OK;
    }
    if (result == TRACE_MACHINE_MISMATCH) {
        SELF_TRACE_MESSAGE("Detected invalid machine identification, so delete saved configuration and load default "
                           "configuration. %s",
                           detailText.c_str());
        result = m_manager->deleteEnablingStatesAllTraceUnits(data);
        if (isFailure(result)) {
            SELF_TRACE_ERROR("Calling 'deleteEnablingStatesAllTraceUnits' failed with error code 0x%08X. %s",
                             static_cast<unsigned int>(result), detailText.c_str());
        }
        m_manager->setDefaultEnablingStateAllTraceUnits();
        return mapToNbResult(result); // not that of the load: a client that has foreign states removed has succeeded
    }
    if (isFailure(result)) {
        SELF_TRACE_ERROR("Calling 'loadEnablingStatesAllTraceUnits' failed with error code 0x%08X. %s",
                         static_cast<unsigned int>(result), detailText.c_str());
    }
    return mapToNbResult(result);
}

void ConfigProviderNode::onRemove(std::string const & address, NodeCallback const & callback)
{
    SELF_TRACE_WARNING("Request for address '%s' is unsupported.", address.c_str());
    callback(NB_UNSUPPORTED, nullptr);
}

void ConfigProviderNode::onBrowse(std::string const & address, NodeCallback const & callback)
{
    Address const path(address);
    if (path.parts.size() != kPartsOfNode) {
        SELF_TRACE_WARNING("Invalid address '%s' was requested.", address.c_str());
        callback(NB_INVALID_ADDRESS, nullptr);
        return;
    }
    Variant value;
    (void)value.setValue(ConfigNodeNames);
    callback(NB_OK, &value);
}

void ConfigProviderNode::onRead(std::string const & address, Variant const * /*data*/, NodeCallback const & callback)
{
    SELF_TRACE_WARNING("Request for address '%s' is unsupported.", address.c_str());
    callback(NB_UNSUPPORTED, nullptr);
}

void ConfigProviderNode::onWrite(std::string const & address, Variant const * /*data*/, NodeCallback const & callback)
{
    SELF_TRACE_WARNING("Request for address '%s' is unsupported.", address.c_str());
    callback(NB_UNSUPPORTED, nullptr);
}

void ConfigProviderNode::onMetadata(std::string const & address, NodeCallback const & callback)
{
    flatbuffers::FlatBufferBuilder builder;
    Address const path(address);
    flatbuffers::Offset<Metadata> metadata;
    if (path.parts.size() == kPartsOfNode) {
        metadata = metadataRoot(builder);
    } else if (path.parts.size() == kPartsOfLeaf) {
        auto const leaf = std::find(ConfigNodeNames.begin(), ConfigNodeNames.end(), path.parts.back());
        if (leaf != ConfigNodeNames.end()) {
            metadata = metadataLeaf(builder, *leaf);
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

flatbuffers::Offset<Metadata> ConfigProviderNode::metadataRoot(flatbuffers::FlatBufferBuilder & builder) const
{
    NodeDescription node;
    node.nodeClass = NodeClass_Group;
    node.isBrowsable = true;
    node.text = "The config node provides functions to save and load the configuration of the enabling states of all "
                "trace units.";
    return createMetadata(builder, node);
}

flatbuffers::Offset<Metadata> ConfigProviderNode::metadataLeaf(flatbuffers::FlatBufferBuilder & builder,
                                                               std::string const & name) const
{
    NodeDescription node;
    node.nodeClass = NodeClass_Request;
    node.isCreatable = true;
    node.isBrowsable = true;
    if (name == kSave) {
        node.text = "This node saves the enabling states of all trace units.";
    } else if (name == kLoad) {
        node.text = "This node loads the saved enabling states of all trace units.";
    }
    node.types = {{"createType", "types/nodebus/persistence_param"}};
    return createMetadata(builder, node);
}

} // namespace common::log::trace
