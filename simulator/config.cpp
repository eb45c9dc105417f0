#include "simulator/config.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

#include "simulator/parse.h"

namespace simulator {
namespace {

using nlohmann::json;

bool TakeUnsigned(const json& value, unsigned most, unsigned& out) {
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) return false;
  out = value.get<unsigned>();
  return true;
}

bool TakeDouble(const json& value, double most, double& out) {
  if (!value.is_number()) return false;
  const double number = value.get<double>();
  if (!(number > 0.0) || number > most) return false;
  out = number;
  return true;
}

bool TakeModule(const json& value, Config& config) {
  if (!value.is_string()) return false;
  const auto found = std::ranges::find(kModuleNames, value.get_ref<const std::string&>());
  if (found == kModuleNames.end()) return false;
  config.module = static_cast<Module>(found - kModuleNames.begin());
  return true;
}

bool IsLoopback(const std::string& address) {
  in_addr parsed{};
  return ::inet_pton(AF_INET, address.c_str(), &parsed) == 1 && (ntohl(parsed.s_addr) >> 24) == 127;
}

bool TakeAddresses(const json& value, Config& config) {
  if (!value.is_object()) return false;
  for (const auto& [name, address] : value.items()) {
    const auto found = std::ranges::find(kModuleNames, name);
    if (found == kModuleNames.end() || !address.is_string()) return false;
    if (!IsLoopback(address.get_ref<const std::string&>())) return false;
    config.addresses[static_cast<std::size_t>(found - kModuleNames.begin())] = address;
  }
  return true;
}

bool TakeFirmware(const json& value, Config& config) {
  if (!value.is_string()) return false;
  const auto& text = value.get_ref<const std::string&>();
  if (text.empty() || text.size() > 64 || text.find('\n') != std::string::npos) return false;
  config.firmware_version = text;
  return true;
}

bool TakeSeed(const json& value, Config& config) {
  if (!value.is_number_unsigned()) return false;
  config.seed = value.get<std::uint64_t>();
  return true;
}

/// A text for each name of `names` that the object holds.
template <std::size_t kCount>
bool TakeTexts(const json& value, const std::array<const char*, kCount>& names,
               std::array<std::string, kCount>& out) {
  if (!value.is_object()) return false;
  for (const auto& [name, text] : value.items()) {
    const auto found = std::ranges::find(names, name);
    if (found == names.end() || !text.is_string()) return false;
    if (text.template get<std::string>().empty()) return false;
    out[static_cast<std::size_t>(found - names.begin())] = text;
  }
  return true;
}

std::optional<std::uint16_t> HexWord(const json& value) {
  if (!value.is_string()) return std::nullopt;
  const auto word = ParseHexOrDecimal(value.get_ref<const std::string&>(), 0xFFFF);
  if (!word) return std::nullopt;
  return static_cast<std::uint16_t>(*word);
}

bool TakeCpld(const json& value, CpldKind& cpld) {
  if (!value.is_object()) return false;
  for (const auto& [name, text] : value.items()) {
    const auto word = HexWord(text);
    if (!word) return false;
    if (name == "revision") {
      cpld.revision = *word;
    } else if (name == "id" && (*word == static_cast<std::uint16_t>(CpldId::k0985) ||
                                *word == static_cast<std::uint16_t>(CpldId::k1093))) {
      cpld.id = static_cast<CpldId>(*word);
    } else {
      return false;
    }
  }
  return true;
}

bool TakeCplds(const json& value, Config& config) {
  if (!value.is_object()) return false;
  for (const auto& [name, cpld] : value.items()) {
    const auto found = std::ranges::find(kChannelNames, name);
    if (found == kChannelNames.end()) return false;
    if (!TakeCpld(cpld, config.cpld[static_cast<std::size_t>(found - kChannelNames.begin())])) {
      return false;
    }
  }
  return true;
}

struct Key {
  std::string_view name;
  const char* wanted;
  bool (*take)(const json&, Config&);
};

constexpr Key kKeys[] = {
    {"module", "\"main\", \"meas\" or \"source\"", TakeModule},
    {"board_revision", "a whole number, 0 to 15",
     [](const json& value, Config& config) {
       return TakeUnsigned(value, 15, config.board_revision);
     }},
    {"fpga_version", "a whole number, 0 to 4095",
     [](const json& value, Config& config) {
       return TakeUnsigned(value, 4095, config.fpga_version);
     }},
    {"driver_version", "a number above 0, at most 99",
     [](const json& value, Config& config) {
       return TakeDouble(value, 99, config.driver_version);
     }},
    {"line_frequency", "a number above 0, at most 1000",
     [](const json& value, Config& config) {
       return TakeDouble(value, 1000, config.line_frequency);
     }},
    {"firmware_version", "a text of 1 to 64 characters on one line", TakeFirmware},
    {"addresses", "an object of \"main\", \"meas\", \"source\" with addresses in 127.0.0.0/8",
     TakeAddresses},
    {"seed", "a whole number", TakeSeed},
    {"speed", "a number above 0, at most 1000",
     [](const json& value, Config& config) { return TakeDouble(value, 1000, config.speed); }},
    {"i2cswitch", "true or false",
     [](const json& value, Config& config) {
       if (value.is_boolean()) config.i2c_switch = value.get<bool>();
       return value.is_boolean();
     }},
    {"cpld",
     "an object of \"meas1\", \"meas2\", each with \"id\" (\"0x0985\" or \"0x1093\") and "
     "\"revision\"",
     TakeCplds},
    {"calibration", "an object of \"meas1\", \"meas2\" with paths",
     [](const json& value, Config& config) {
       return TakeTexts(value, kChannelNames, config.calibration);
     }},
    {"eeprom",
     "an object of \"core\", \"signal_host\", \"meas1\", \"meas2\" with \"raw\", "
     "\"compressed\", \"blank\" or a path",
     [](const json& value, Config& config) {
       return TakeTexts(value, kEepromNames, config.eeprom);
     }},
};

std::string TakeKeys(const json& document, Config& config) {
  if (!document.is_object()) return "expected an object of keys";
  for (const auto& [name, value] : document.items()) {
    const auto* key = std::ranges::find(kKeys, std::string_view(name), &Key::name);
    if (key == std::end(kKeys)) return "unknown key " + json(name).dump();
    if (!key->take(value, config)) return "\"" + name + "\" must be " + key->wanted;
  }
  return "";
}

}  // namespace

std::string ParseConfig(std::string_view text, Config& config) {
  try {
    // Comments are allowed: the file is written by hand.
    return TakeKeys(json::parse(text, nullptr, true, true), config);
  } catch (const json::exception& error) {
    const std::string_view what = error.what();
    const std::size_t tag_end = what.find("] ");
    return std::string(tag_end == what.npos ? what : what.substr(tag_end + 2));
  }
}

std::string ReadConfig(const std::string& path, Config& config) {
  std::ifstream file(path);
  if (!file) return path + ": " + std::strerror(errno);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const std::string problem = ParseConfig(text, config);
  return problem.empty() ? "" : path + ": " + problem;
}

}  // namespace simulator
