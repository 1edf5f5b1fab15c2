#pragma once

#include <common/log/trace/manager.h>
#include <common/log/trace/persistence_helper_itf.h>

namespace common::log::benchmark {

/// Lets `manager` register units as in a host that has nothing saved. Without it each registration reports errors.
inline void setEmptyStore(trace::Manager & manager)
{
    static PersistenceHelperItf const store = [] {
        PersistenceHelperItf made;
        made.existsDirect = [](void * /*instance*/, std::string const & /*fileName*/) { return false; };
        return made;
    }();
    manager.setBundleRootPath(COMMON_LOG_TRACE_BUNDLE_ROOT);
    manager.setPersistenceHelper(&store);
}

} // namespace common::log::benchmark
