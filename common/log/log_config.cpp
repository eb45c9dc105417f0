#include "common/log/log_config.h"

#include <algorithm>
#include <libconfig.h++>
#include <span>

namespace Logger {
namespace {

struct Key {
  const char* name;
  LogModule module;
};

constexpr char kRoot[] = "Q5Logging.";

constexpr Key kSharedKeys[] = {
    {"tosmgr", mainL},
    {"mosmgr", measurementL},
    {"sosmgr", sourceL},
    {"buggycycles", buggycyclesL},
};

constexpr Key kDaemonKeys[] = {
    {"acquisition", acquisitionL},
    {"sinecorrelator", sinecorrelatorL},
    {"fpga", fpgaL},
    {"msg", msgL},
    {"spclk", spclkL},
    {"range", rangeL},
    {"fft", fftL},
    {"monitor", monitorL},
    {"nwcheck", nwcheckL},
    {"systemcheck", systemcheckL},
    {"i2cmain", i2cmainL},
    {"ad7998", ad7998L},
    {"dacdcoffset", dacdcoffsetL},
    {"ee24lc32", ee24lc32L},
    {"max31785", max31785L},
    {"pca9536", pca9536L},
    {"pca9538", pca9538L},
    {"pca9552", pca9552L},
    {"cy8c28", cy8c28L},
    {"ds75s", ds75sL},
    {"spartan6", spartan6L},
    {"sa56004", sa56004L},
    {"tmp112", tmp112L},
    {"si5338", si5338L},
    {"tps659112", tps659112L},
    {"nulldev", nulldevL},
    {"psocdev", psocdevL},
    {"debuglogprint", debuglogprintL},
    {"eventlog", eventlogL},
    {"ee_grp", ee_grpL},
    {"sfpfin", sfpfinL},
    {"electrical", elecL},
    {"calibration", calibL},
    {"zpubsub", zpubsubL},
    {"date", dateL},
    {"zmb", zmbL},
    {"commonlib", commonlibL},
    {"histogram", histogramL},
    {"nakLogging", nakLoggingL},
    {"sumTest", sumTestL},
    {"retryi2c", retryi2cL},
};

// What only the daemons that acquire have, and what only the main module's has.
constexpr Key kAcquiringKeys[] = {
    {"corrections", correctionsL}, {"averager", averagerL},   {"signalh", signalhL},
    {"chanfsm", chanfsmL},         {"fsmfrmwrk", fsmfrmwrkL},
};
constexpr Key kMainKeys[] = {{"pfcmon", pfcmonL}, {"usbbridge", usbbridgeL}, {"ethb", ethbL}};

// The event log is on at this level unless the file says otherwise: a trace of the test is what
// service asks for first.
constexpr int kDefaultEventLevel = 2;

std::string DaemonPrefix(int owner) {
  switch (owner) {
    case kMainOwner:
      return "Q5Logging.tos.";
    case kSourceOwner:
      return "Q5Logging.sos.";
    default:
      return "Q5Logging.mos.";
  }
}

std::optional<int> Lookup(const libconfig::Config& config, const std::string& path) {
  int value = 0;
  return config.lookupValue(path, value) ? std::optional(value) : std::nullopt;
}

void ReadLevels(const libconfig::Config& config, const std::string& prefix,
                std::span<const Key> keys, LogSettings& settings) {
  for (const Key& key : keys) {
    settings.levels[static_cast<std::size_t>(key.module)] = Lookup(config, prefix + key.name);
  }
}

LogSettings Collect(const libconfig::Config& config, int owner) {
  LogSettings settings;
  const std::string prefix = DaemonPrefix(owner);
  ReadLevels(config, kRoot, kSharedKeys, settings);
  ReadLevels(config, prefix, kDaemonKeys, settings);
  ReadLevels(
      config, prefix,
      owner == kMainOwner ? std::span<const Key>(kMainKeys) : std::span<const Key>(kAcquiringKeys),
      settings);
  auto& events = settings.levels[eventlogL];
  if (owner == kMeasOwner && !events) events = kDefaultEventLevel;

  const int size = Lookup(config, std::string(kRoot) + "rotateSize").value_or(kDefaultRotateSize);
  if (size > 0) settings.rotateSize = size;
  settings.nakthreshold =
      Lookup(config, std::string(kRoot) + "nakthreshold").value_or(kDefaultNakThreshold);
  return settings;
}

}  // namespace

std::optional<LogSettings> ParseLogConfig(const std::string& text,
                                          const std::string& include_directory, int owner,
                                          LogConfigError& error) {
  if (const auto nul = text.find('\0'); nul != text.npos) {
    error = {
        1 + static_cast<int>(std::count(text.begin(), text.begin() + static_cast<long>(nul), '\n')),
        "a zero byte"};
    return std::nullopt;
  }
  try {
    libconfig::Config config;
    config.setIncludeDir(include_directory.c_str());
    config.readString(text);
    return Collect(config, owner);
  } catch (const libconfig::ParseException& problem) {
    error = {problem.getLine(), problem.getError()};
  } catch (const libconfig::ConfigException& problem) {
    error = {0, problem.what()};
  }
  return std::nullopt;
}

}  // namespace Logger
