#include "saved_states.h"

#include "paths.h"

#include <common/log/snap_name.h>

#include <enablingstates_generated.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace tracehost {

using comm::nodebus::Variant;

std::map<std::string, common::log::trace::EnablingState> savedStates(common::log::host::FileStore const & store,
                                                                     std::string const & root)
{
    PersistenceHelperItf const & helper = *store.helper();
    std::string const file = "trace/enablingstates_" + common::log::SnapName().getSnapName() + ".json";
    std::ifstream typeFile(std::filesystem::path(root) / kTypeFile, std::ios::binary);
    std::vector<char> const type{std::istreambuf_iterator<char>(typeFile), {}};
    Variant typeData;
    (void)typeData.setFlatbuffersView(reinterpret_cast<std::uint8_t const *>(type.data()), type.size());
    Variant saved;
    if (!helper.existsDirect(helper.instance, file) || helper.loadDirect(helper.instance, file, typeData, saved) < 0) {
        return {};
    }
    std::map<std::string, common::log::trace::EnablingState> states;
    // What leaves the store went through its gate: every field is there.
    for (auto const * const entry : *common::log::trace::fbs::GetEnablingStates(saved.dataPointer())->states()) {
        states.try_emplace(entry->name()->str(),
                           common::log::trace::EnablingState{entry->messages(), entry->warnings(), entry->errors()});
    }
    return states;
}

} // namespace tracehost
