#pragma once

namespace common::log::trace {

/// What the files of the saved states are called: their folder, and their stem, which is the name of their type too.
constexpr char const * kSavedStatesFolder = "trace";
constexpr char const * kSavedStatesName = "enablingstates";

/// Which machine saved states belong to. The default stands for a machine that has not been told which one it is.
constexpr char const * kDefaultMachineIdentification = "tarvo";
constexpr char const * kMachineIdentification = "Win32_Emulation";

} // namespace common::log::trace
