// What kind of instrument q5sim is: read from a JSON file, with a default for every key.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "simulator/cpld_id.h"

namespace simulator {

/// Values are those of the daemons' module ids.
enum class Module : std::size_t { kMain = 0, kMeas = 1, kSource = 2 };
inline constexpr std::size_t kModules = 3;
/// The names by which config and "/etc/hosts" know the modules.
inline constexpr std::array<const char*, kModules> kModuleNames = {"main", "meas", "source"};

/// Dotted addresses by module, all in 127.0.0.0/8.
using Addresses = std::array<std::string, kModules>;

inline constexpr std::size_t kMeasChannels = 2;
/// The names by which config knows the channel boards.
inline constexpr std::array<const char*, kMeasChannels> kChannelNames = {"meas1", "meas2"};

struct CpldKind {
  CpldId id = CpldId::k1093;
  std::uint16_t revision = 0x4042;
};

enum class Eeprom : std::size_t { kCore, kSignalHost, kMeas1, kMeas2 };
inline constexpr std::size_t kEeproms = 4;
inline constexpr std::array<const char*, kEeproms> kEepromNames = {"core", "signal_host", "meas1",
                                                                   "meas2"};

struct Config {
  Module module = Module::kMeas;
  unsigned board_revision = 4;  ///< 0..15
  unsigned fpga_version = 150;  ///< 0..4095
  double driver_version = 0.90;
  double line_frequency = 60.0;  ///< of the mains, hertz
  std::string firmware_version = "1.0.0-q5sim";
  Addresses addresses = {"127.0.0.51", "127.0.0.52", "127.0.0.53"};
  std::uint64_t seed = 0;  ///< 0: one is drawn at start
  double speed = 1.0;      ///< multiplies the pace of samples; above 0
  /// The channel boards have an I2C branch each; false: both hang on the first one's.
  bool i2c_switch = true;
  std::array<CpldKind, kMeasChannels> cpld{};
  /// Paths of the files of the channels' true hardware; empty: as shipped.
  std::array<std::string, kMeasChannels> calibration;
  /// "raw", "compressed", "blank", or the path of an image; by Eeprom.
  std::array<std::string, kEeproms> eeprom = {"raw", "raw", "compressed", "compressed"};

  const std::string& Address(Module of) const { return addresses[static_cast<std::size_t>(of)]; }
};

/// Empty when `text` was taken into `config`; else what is wrong with it, in one line.
std::string ParseConfig(std::string_view text, Config& config);
/// The same for a file.
std::string ReadConfig(const std::string& path, Config& config);

}  // namespace simulator
