#include <common/log/snap_name.h>

#include "helper/environment.h"
#include "helper/self_trace.h"

#include <optional>

namespace common::log {

SnapName::SnapName() : m_name("unknownSnap") { setSnapName(); }

SnapName::~SnapName() = default;

std::string const & SnapName::getSnapName() const { return m_name; }

void SnapName::setSnapName()
{
    std::optional<std::string> const name = readEnvironment("SNAP_NAME");
    if (!name) {
        return;
    }
    m_name = *name;
    SELF_TRACE_MESSAGE("Set snap name to: '%s'", m_name.c_str());
}

} // namespace common::log
