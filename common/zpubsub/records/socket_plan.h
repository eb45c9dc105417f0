// Which program publishes where. Everybody hears everybody; a receiver decides by its own module
// whether a message means anything to it.
#pragma once

namespace IMSG {

inline constexpr int kMainPort = 6551;
inline constexpr int kMeasPort = 6552;
inline constexpr int kSourcePort = 6553;
/// The programs that start and watch the daemons of a module.
inline constexpr int kMainWatchdogPort = 6554;
inline constexpr int kMeasWatchdogPort = 6555;
inline constexpr int kSourceWatchdogPort = 6556;
/// The host bridge, on the main module.
inline constexpr int kBridgePort = 6561;

}  // namespace IMSG
