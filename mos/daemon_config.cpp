#include "mos/daemon_config.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <libconfig.h++>
#include <string>
#include <variant>

#include "common/log/log_line.h"
#include "common/log/logger_mgr.h"
#include "platform/backend.h"

namespace Mos {
namespace {

using Logger::logger_mgr;
using Logger::measurementL;
using Msg::HMPData;

/// What a value has to be; any other counts as missing.
enum class Limit {
  None,
  Positive,
  NotZero,
  NotNegative,
  Progress,  ///< held between the ends below
};

constexpr double kShortestProgress = 10;
constexpr double kLongestProgress = 12000;

constexpr std::uintmax_t kLargestFile = 1 << 20;

/// Whether a file may leave a key out.
enum class Missing { Silent, Told, Error };

using SharedInt = std::atomic<int> HMPData::*;
using SharedFloat = std::atomic<float> HMPData::*;
using OwnInt = int DaemonConfig::*;

struct Key {
  const char* name;
  std::variant<SharedInt, SharedFloat, OwnInt> target;
  double fallback;
  Limit limit = Limit::None;
  Missing missing = Missing::Silent;
  const char* log_name = "";  ///< of a key whose default is logged
};

constexpr SharedInt Int(std::atomic<int> HMPData::*field) { return field; }
constexpr SharedFloat Float(std::atomic<float> HMPData::*field) { return field; }
constexpr OwnInt Own(int DaemonConfig::*field) { return field; }

// The fallback of a key that has to be in the file is the value of the shipped file.
constexpr Key kKeys[] = {
    {"VarekConfig.hvmeasurementscalefactor", Float(&HMPData::hvscalefactor), 50.0, Limit::Positive,
     Missing::Error},
    {"VarekConfig.vlfinterruptspersecond", Int(&HMPData::vlfinterruptspersec), 10, Limit::Positive,
     Missing::Error},
    {"VarekConfig.vlfthreshold", Int(&HMPData::vlfthreshold), 1, Limit::NotNegative,
     Missing::Error},
    {"VarekConfig.normalinterruptspersecond", Int(&HMPData::interruptspersec), 60, Limit::Positive,
     Missing::Error},
    {"VarekConfig.maxsamplelimit", Int(&HMPData::max_sample_limit), 5, Limit::NotZero,
     Missing::Told, "maxsample"},
    {"VarekConfig.powersanityfaillimit", Int(&HMPData::power_sanity_fail_limit), 5, Limit::NotZero,
     Missing::Told, "powersanity"},
    {"VarekConfig.progresstimeout", Int(&HMPData::progresstimeout), 25, Limit::Progress},
    {"VarekConfig.dctesttimeout", Int(&HMPData::dctesttimeout), 120, Limit::NotZero},
    {"VarekConfig.currentfudgefactor", Float(&HMPData::currentfudgefactor), 1.0, Limit::Positive,
     Missing::Error},
    {"VarekConfig.currentautorangelimit", Int(&HMPData::currentautorangelimit), 11,
     Limit::Positive},
    {"VarekConfig.multisamplerangingcount", Int(&HMPData::multisamplerangingcount), 1,
     Limit::Positive},
    {"VarekConfig.voltagefudgefactor", Float(&HMPData::voltagefudgefactor), 1.0, Limit::Positive,
     Missing::Error},
    {"VarekConfig.i2cswitch", Int(&HMPData::i2cswitch), 1},
    {"VarekConfig.vlfvoltagemin", Float(&HMPData::_vlfvoltagemin), 10.0, Limit::Positive},
    {"VarekConfig.dccurrentmin", Float(&HMPData::_dccurrentmin), 0.05, Limit::Positive},
    {"VarekConfig.acvoltagemin", Float(&HMPData::_acvoltagemin), 5.0, Limit::Positive},
    {"VarekConfig.hvacvoltagemin", Float(&HMPData::_hvacvoltagemin), 100.0, Limit::Positive},
    {"VarekConfig.straycapacitance", Own(&DaemonConfig::straycapacitance), 0},
    {"VarekConfig.mosmaxhvvoltage", Own(&DaemonConfig::maxhvvoltagemeasurement), 12500,
     Limit::Positive},
    {"VarekConfig.consumerbacklog", Int(&HMPData::consumerbacklog), 4, Limit::Positive},
    {"VarekConfig.meascalibration", Own(&DaemonConfig::meascalibration), 0},
    {"VarekConfig.HVvoltageautorangelimit", Int(&HMPData::hvvoltagerangelimit), 11},
    {"VarekConfig.DCvoltageautorangelimit", Int(&HMPData::dcvoltagerangelimit), 11},
    {"VarekConfig.maxsamplerate", Int(&HMPData::maxsamplingrate), 50000},
    {"VarekConfig.minsamplerate", Int(&HMPData::minsamplingrate), 25000},
    {"VarekConfig.vlfresetcyclefraction", Float(&HMPData::vlfresetcyclefraction), 0.05},
    {"VarekConfig.vlfmeasrelaywarmtime", Int(&HMPData::vlfmeasrelaywarmtime), 0},
    {"VarekConfig.enable_nak_on_sample_fault", Int(&HMPData::enable_nak_on_sample_fault), 0},
    {"VarekConfig.enable_nak_on_sample_overrange", Int(&HMPData::enable_nak_on_sample_overrange),
     0},
};

bool IsFloat(const Key& key) { return std::holds_alternative<SharedFloat>(key.target); }

bool IsWithin(Limit limit, double value) {
  switch (limit) {
    case Limit::Positive:
      return value > 0;
    case Limit::NotZero:
      return value != 0;
    case Limit::NotNegative:
      return value >= 0;
    case Limit::None:
    case Limit::Progress:
      break;
  }
  return true;
}

// True with the value of a key that the file has with the right type. As a float the value can be
// too large or too small for the field that keeps it.
bool ReadValue(const libconfig::Config& config, const Key& key, double& value) {
  bool found = false;
  if (IsFloat(key)) {
    found = config.lookupValue(key.name, value);
    value = static_cast<double>(static_cast<float>(value));
  } else {
    int number = 0;
    found = config.lookupValue(key.name, number);
    value = number;
  }
  if (!found && config.exists(key.name)) {
    Q5_LOG_ERROR_HERE(measurementL, "%s.%d: %s is no %s number\n", key.name,
                      IsFloat(key) ? "floating-point" : "whole");
  }
  return found && std::isfinite(value);
}

void TellMissing(const Key& key) {
  switch (key.missing) {
    case Missing::Silent:
      break;
    case Missing::Told:
      Q5_LOG_NOTICE(measurementL, "assuming default %s %d \n", key.log_name,
                    static_cast<int>(key.fallback));
      break;
    case Missing::Error:
      Q5_LOG_ERROR_HERE(measurementL, "%s.%d: %s is missing or out of its limits, using %g\n",
                        key.name, key.fallback);
      break;
  }
}

double ValueFor(const libconfig::Config& config, const Key& key) {
  double value = 0;
  if (!ReadValue(config, key, value) || !IsWithin(key.limit, value)) {
    TellMissing(key);
    value = key.fallback;
  }
  if (key.limit == Limit::Progress) value = std::clamp(value, kShortestProgress, kLongestProgress);
  return value;
}

void Store(const Key& key, double value, HMPData& data, DaemonConfig& own) {
  if (const auto* shared_int = std::get_if<SharedInt>(&key.target)) {
    data.** shared_int = static_cast<int>(value);
  } else if (const auto* shared_float = std::get_if<SharedFloat>(&key.target)) {
    data.** shared_float = static_cast<float>(value);
  } else {
    own.*std::get<OwnInt>(key.target) = static_cast<int>(value);
  }
}

[[gnu::format(printf, 1, 2)]] void Tell(const char* format, ...) {
  std::va_list values;
  va_start(values, format);
  logger_mgr::vprint(measurementL, Logger::kNotice, format, values);
  va_end(values);
}

const char* Enabled(int flag) { return flag != 0 ? "Enabled" : "Disabled"; }

void TellResult(const HMPData& data, const DaemonConfig& own) {
  const auto real = [](const std::atomic<float>& value) { return double{value}; };
  Tell("hmp hv scalefactor %f normalinterruptrate %d vlfinterruptspersec %d vlfthreshold %d\n",
       real(data.hvscalefactor), data.interruptspersec.load(), data.vlfinterruptspersec.load(),
       data.vlfthreshold.load());
  Tell(
      "current fudgefactor %f autorangelimit %d multisamplerangingcount:%d voltage fudgefactor "
      "%f\n",
      real(data.currentfudgefactor), data.currentautorangelimit.load(),
      data.multisamplerangingcount.load(), real(data.voltagefudgefactor));
  Tell("i2cchange %d \n", data.i2cswitch.load());
  Tell("acvoltagemin %f hvvoltagemin %f dccurrentmin %f vlfvoltagemin %f \n",
       real(data._acvoltagemin), real(data._hvacvoltagemin), real(data._dccurrentmin),
       real(data._vlfvoltagemin));
  Tell("mosmaxhvvoltage %d consumerbacklog %d \n", own.maxhvvoltagemeasurement,
       data.consumerbacklog.load());
  Tell("maxsamplingrate  %d minsamplingrate %d meas cal %d\n", data.maxsamplingrate.load(),
       data.minsamplingrate.load(), own.meascalibration);
  Tell("HVVoltageautolimit %d \n", data.hvvoltagerangelimit.load());
  Tell("DCVoltageautolimit %d \n", data.dcvoltagerangelimit.load());
  Tell("NAK on Sample Fault : %s \n", Enabled(data.enable_nak_on_sample_fault));
  Tell("NAK on Sample OverRange : %s \n", Enabled(data.enable_nak_on_sample_overrange));
}

// The parser ends the process when it cannot read what it has opened, for example a directory. Its
// time grows with the square of a line's length. A damaged file must not hold up the start.
bool IsReadable(const std::string& file) {
  std::error_code ignored;
  return std::filesystem::is_regular_file(file, ignored) &&
         std::filesystem::file_size(file, ignored) <= kLargestFile;
}

// A parse that fails half-way leaves the settings read so far.
void Clear(libconfig::Config& config) { config.readString(""); }

}  // namespace

int InitConfigFile(libconfig::Config& config, const char* path) {
  const std::string file = platform::Machine().Path(path);
  try {
    if (!IsReadable(file)) throw libconfig::FileIOException();
    config.readFile(file.c_str());
    return 0;
  } catch (const libconfig::FileIOException&) {
    std::printf("File I/O error while reading %s\n", path);
  } catch (const libconfig::ParseException& error) {
    std::printf("Parse Exception file %s at line %d - %s\n", path, error.getLine(),
                error.getError());
  }
  std::fflush(stdout);
  Clear(config);
  return -1;
}

DaemonConfig SetConfigParameters(const libconfig::Config& config, HMPData& data) {
  DaemonConfig own;
  for (const Key& key : kKeys) Store(key, ValueFor(config, key), data, own);
  TellResult(data, own);
  return own;
}

}  // namespace Mos
