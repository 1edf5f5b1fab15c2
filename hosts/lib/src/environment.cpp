#include <common/log/host/environment.h>

#include <cstdlib>
#include <filesystem>

namespace common::log::host {

std::string pathFromEnvironment(char const * name)
{
    char const * const value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nobody changes it, by contract
    return value != nullptr && std::filesystem::path(value).is_absolute() ? value : "";
}

} // namespace common::log::host
