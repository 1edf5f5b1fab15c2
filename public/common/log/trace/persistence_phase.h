#pragma once

#include <cstdint>

namespace common::log::trace {

/// The step of a persistence request. Whoever saves or loads on several components goes through these with each.
enum class PersistencePhase : std::uint32_t
{
    none = 0,    ///< no valid request
    unknown = 1, ///< a request with any other text
    query = 2,
    prepare = 3,
    load = 4,
    validate = 5,
    activate = 6,
    abort = 7,
    save = 8,
};

} // namespace common::log::trace
