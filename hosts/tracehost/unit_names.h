#pragma once

namespace tracehost {

inline constexpr char const * kOwnUnit = "common.log.trace"; ///< the library's
inline constexpr char const * kCycleWakeup = "cycle.wakeup";
inline constexpr char const * kCycleSummary = "cycle.summary";
inline constexpr char const * kHostLoss = "host.loss";
inline constexpr char const * kHostNodes = "host.nodes";
inline constexpr char const * kHostStart = "host.start";
inline constexpr char const * kHostStore = "host.store";
inline constexpr char const * kHostSwitch = "host.switch";
inline constexpr char const * kInputStdin = "input.stdin";

} // namespace tracehost
