#include "node_tree.h"

#include <common/log/host/state_text.h>

#include <flatbuffers/flatbuffers.h>
#include <metadata_generated.h>

#include <vector>

namespace tracehost {

using namespace comm::nodebus;
using common::log::host::NodeAnswer;
using common::log::host::NodeService;

namespace {

constexpr std::size_t kFlags = 3;

std::string stateOf(NodeService & service, std::string const & address)
{
    NodeAnswer const answer = service.read(address);
    if (answer.result != NB_OK || !answer.value || answer.value->type != VariantType::arrayOfBool8) {
        return answer.result.toString();
    }
    std::vector<bool> const flags = answer.value->getArray<bool>();
    return flags.size() == kFlags ? common::log::host::flagsText({flags[0], flags[1], flags[2]}) : "?";
}

/// Kind, state and description; empty for a level that only leads to nodes.
std::string description(NodeService & service, std::string const & address)
{
    NodeAnswer const answer = service.metadata(address);
    if (answer.result != NB_OK || !answer.value || answer.value->type != VariantType::flatbuffers) {
        return {};
    }
    auto const * const bytes = static_cast<std::uint8_t const *>(answer.value->dataPointer());
    flatbuffers::Verifier verifier(bytes, static_cast<std::size_t>(answer.value->getSize()));
    if (!VerifyMetadataBuffer(verifier)) {
        return "(?)";
    }
    Metadata const & metadata = *GetMetadata(bytes);
    std::string kind = EnumNameNodeClass(metadata.nodeClass());
    if (metadata.operations()->read()) {
        kind += " " + stateOf(service, address);
    }
    return "  (" + kind + ")  " + metadata.description()->str();
}

void addChildren(NodeService & service, std::string const & address, std::string const & indent, std::string & text)
{
    NodeAnswer const answer = service.browse(address);
    if (!answer.value) {
        return;
    }
    for (std::string const & name : answer.value->getStrings()) {
        std::string child = address;
        child.append(address.empty() ? "" : "/").append(name);
        text.append(indent).append(name).append(description(service, child)).append("\n");
        addChildren(service, child, indent + "  ", text);
    }
}

} // namespace

std::string nodeTree(NodeService & service)
{
    std::string text;
    addChildren(service, "", "", text);
    return text;
}

} // namespace tracehost
