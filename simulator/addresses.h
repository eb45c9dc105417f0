// The addresses of the three modules on loopback, chosen so that instruments can run side by
// side.
#pragma once

#include <cstdint>
#include <string>

#include "platform/unique_fd.h"
#include "simulator/config.h"

namespace simulator {

inline constexpr std::uint16_t kHostPort = 3087;  ///< ethb, on the main module
inline constexpr std::uint16_t kBusPort = 3088;   ///< mos, on the measurement module

/// 127.0.`subnet`.51 to .53.
Addresses SubnetAddresses(unsigned subnet);

/// Takes the port for hosts on the main module, which also claims the addresses for this
/// instrument.
///
/// `choice` is the option's text: empty keeps the addresses of `config`; "127.0.N" names them;
/// "auto" takes `earlier` ones again if they are free, so that a mos that survived q5sim finds it
/// back, else the first N of which both ports are free. `config` gets the addresses. Empty when
/// done, else the reason in one line.
std::string ClaimAddresses(const std::string& choice, const Addresses& earlier, Config& config,
                           platform::UniqueFd& host_listener);

}  // namespace simulator
