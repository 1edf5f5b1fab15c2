#include <common/log/snap_name.h>

#include "helper/environment.h"
#include "helper/self_trace.h"

#include <optional>

namespace common::log {

namespace {

constexpr char const * kUnknownSnap = "unknownSnap";

// Null ahead of its initialisation. Stays to the end of the process, since no destructor knows which thread writes the
// last record.
SnapName const * const kNameAtLoad = new SnapName;

} // namespace

char const * snapNameText() noexcept
{
    return kNameAtLoad != nullptr ? kNameAtLoad->getSnapName().c_str() : kUnknownSnap;
}

SnapName::SnapName() : m_name(kUnknownSnap) { setSnapName(); }

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
