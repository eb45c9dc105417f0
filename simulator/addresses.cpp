#include "simulator/addresses.h"

#include <cstring>
#include <optional>
#include <string_view>

#include "simulator/listeners.h"
#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr std::string_view kPrefix = "127.0.";
constexpr unsigned kSubnets = 256;

std::optional<unsigned> ParseSubnet(std::string_view text) {
  if (!text.starts_with(kPrefix)) return std::nullopt;
  const auto subnet = ParseNumber(text.substr(kPrefix.size()), kSubnets - 1);
  return subnet ? std::optional(static_cast<unsigned>(*subnet)) : std::nullopt;
}

std::string Claim(const Addresses& addresses, Config& config, platform::UniqueFd& host_listener) {
  const std::string& address = addresses[static_cast<std::size_t>(Module::kMain)];
  if (const int error = ListenTcp(address, kHostPort, host_listener)) {
    return address + " port " + std::to_string(kHostPort) + ": " + std::strerror(error) +
           "; another instrument may run there, see --subnet";
  }
  config.addresses = addresses;
  return "";
}

/// Asked by a connection: taking the port for a moment could get in the way of a mos that starts.
bool BusPortIsFree(const Addresses& addresses) {
  return !AnswersTcp(addresses[static_cast<std::size_t>(Module::kMeas)], kBusPort);
}

/// The subnet whose addresses these are.
std::optional<unsigned> SubnetOf(const Addresses& addresses) {
  const std::string& main = addresses[static_cast<std::size_t>(Module::kMain)];
  const auto subnet = ParseSubnet(std::string_view(main).substr(0, main.rfind('.')));
  return subnet && SubnetAddresses(*subnet) == addresses ? subnet : std::nullopt;
}

}  // namespace

Addresses SubnetAddresses(unsigned subnet) {
  const std::string prefix = std::string(kPrefix) + std::to_string(subnet);
  return {prefix + ".51", prefix + ".52", prefix + ".53"};
}

std::string ClaimAddresses(const std::string& choice, const Addresses& earlier, Config& config,
                           platform::UniqueFd& host_listener) {
  if (choice.empty()) return Claim(config.addresses, config, host_listener);
  if (choice != "auto") {
    const auto subnet = ParseSubnet(choice);
    if (!subnet) return "--subnet " + choice + ": expected 127.0.N (N from 0 to 255) or auto";
    return Claim(SubnetAddresses(*subnet), config, host_listener);
  }
  if (SubnetOf(earlier) && Claim(earlier, config, host_listener).empty()) return "";
  for (unsigned subnet = 0; subnet < kSubnets; ++subnet) {
    const Addresses addresses = SubnetAddresses(subnet);
    if (BusPortIsFree(addresses) && Claim(addresses, config, host_listener).empty()) return "";
  }
  return "--subnet auto: ports " + std::to_string(kHostPort) + " and " + std::to_string(kBusPort) +
         " are busy in all of 127.0.0 to 127.0.255";
}

}  // namespace simulator
