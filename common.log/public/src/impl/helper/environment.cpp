#include "helper/environment.h"

#include <cstdlib>

namespace common::log {

std::optional<std::string> readEnvironment(char const * name)
{
    char const * const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): the header says so
    if (value == nullptr) {
        return std::nullopt;
    }
    return std::string(value);
}

} // namespace common::log
