// The daemon's configuration file and what it sets. docs/configuration.md lists the keys.
//
// Threads: runs once at start-up, before the sample threads.
#pragma once

#include "common/msg/state/hmp_data.h"

namespace libconfig {
class Config;
}

namespace Mos {

inline constexpr char kConfigPath[] = "/varek/config/varekconfig.cfg";

/// Settings of the file that belong to single components, not to the shared test state.
struct DaemonConfig {
  int straycapacitance = 0;         ///< above 0: stray capacitance is calibrated out
  int maxhvvoltagemeasurement = 0;  ///< V; a test that measures more is stopped
  int meascalibration = 0;          ///< above 0: measurements are corrected by calibration
};

/// Reads the file at `path` of the instrument into `config`. When it cannot be read or parsed: -1,
/// an empty `config` and a line on standard output.
int InitConfigFile(libconfig::Config& config, const char* path);

/// Takes every key into `data` or the result. A key that is missing, of the wrong type or out of
/// its limits counts as its default. For a key that has to be in the file this is logged as an
/// error.
DaemonConfig SetConfigParameters(const libconfig::Config& config, Msg::HMPData& data);

}  // namespace Mos
