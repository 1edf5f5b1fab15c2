#pragma once

#include <string>

namespace common::log::trace {

/// What the files of the saved states are called: their folder, and their stem, which is the name of their type too.
constexpr char const * kSavedStatesFolder = "trace";
constexpr char const * kSavedStatesName = "enablingstates";

/// Where below a bundle root the type files lie.
constexpr char const * kTypeFilesFolder = "bfbs/common/log/trace";

/// @param bundleRootPath  ends in a "/", or is empty for the working directory
inline std::string typeFileName(std::string const & bundleRootPath)
{
    return bundleRootPath + kTypeFilesFolder + "/" + kSavedStatesName + ".bfbs";
}

/// Which machine saved states belong to. The default stands for a machine that has not been told which one it is.
constexpr char const * kDefaultMachineIdentification = "tarvo";
constexpr char const * kMachineIdentification = "Win32_Emulation";

} // namespace common::log::trace
