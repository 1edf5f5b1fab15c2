#pragma once

#include <functional>
#include <string>

namespace common::log::test {

/// Runs `work` in a forked child under a filter that lets no system call through but the one that ends the process with
/// the status that `work` returned. Any other ends it with SIGSYS.
///
/// A system whose clock cannot be read in user space gets one exception: reading the clock.
///
/// @return how the child ended: "status " and its exit status, or "signal " and what killed it
std::string runWithoutSystemCalls(std::function<int()> const & work);

} // namespace common::log::test
