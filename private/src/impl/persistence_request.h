#pragma once

#include <comm/nodebus/variant.h>
#include <common/log/trace/persistence_phase.h>

#include <string>
#include <string_view>

namespace comm::nodebus {

struct PersistenceParam;

} // namespace comm::nodebus

namespace common::log::trace {

/// The request that a flatbuffer holds, null where its verification fails. It lives as long as the buffer.
comm::nodebus::PersistenceParam const * verifiedRequest(comm::nodebus::Variant const & data);

/// Never none: what has a text is a request. Each text counts as it stands, with its case and its blanks.
PersistencePhase phaseOf(std::string_view text) noexcept;

/// The phase of a request as it came, for reports. `data` has passed the verification.
char const * phaseText(comm::nodebus::Variant const & data);

/// Which request a report is about: " [", its id and "]", empty where it has none and for what is no request.
std::string detailTextOf(comm::nodebus::Variant const & data, PersistencePhase phase);

} // namespace common::log::trace
