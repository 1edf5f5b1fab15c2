#include <common/log/host/persistence_request.h>

#include <flatbuffers/flatbuffers.h>
#include <persistenceparam_generated.h>

namespace common::log::host {

using namespace comm::nodebus;

NbResult requestPersistence(NodeService & nodes, std::string const & configuration, PersistenceTask task,
                            std::string const & requester)
{
    char const * const leaf = task == PersistenceTask::save ? "save" : "load"; // and the phase of the same name
    flatbuffers::FlatBufferBuilder builder;
    builder.Finish(CreatePersistenceParamDirect(builder, "", requester.c_str(), leaf));
    Variant request;
    (void)request.setFlatbuffersView(builder.GetBufferPointer(), builder.GetSize());
    return nodes.create(configuration + "/" + leaf, &request).result;
}

} // namespace common::log::host
