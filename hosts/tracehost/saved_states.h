#pragma once

#include <common/log/host/file_store.h>
#include <common/log/trace/enabling_state.h>

#include <map>
#include <string>

namespace tracehost {

/// What is saved for the units, by their names, to be shown: the library reads for itself. Empty where nothing is saved
/// and where it cannot be read.
///
/// @param root  below which the type file lies
std::map<std::string, common::log::trace::EnablingState> savedStates(common::log::host::FileStore const & store,
                                                                     std::string const & root);

} // namespace tracehost
