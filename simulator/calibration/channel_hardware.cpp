#include "simulator/calibration/channel_hardware.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "simulator/parse.h"

namespace simulator {
namespace {

using nlohmann::json;

constexpr std::uint8_t kFrontEndMask = 0xE3;
constexpr std::uint8_t kCoarseGainMask = 0x1C;
constexpr int kGainStep = 4;
constexpr double kGainPerStep = 10;

constexpr const char* kModeNames[kInputModes] = {"Off", "ACDC_Current", "AC_Volt", "DC_Volt",
                                                 "DCIR"};

/// What is wrong with a source, in one line.
class SourceError : public std::runtime_error {
 public:
  using runtime_error::runtime_error;
};

int GainSteps(std::uint8_t code) { return (code & kCoarseGainMask) / kGainStep; }

double Number(const json& row, const char* key) {
  const double value = row.at(key).get<double>();
  if (!std::isfinite(value)) throw SourceError(std::string(key) + " must be finite");
  return value;
}

std::size_t Index(const json& row, const char* key, std::size_t most) {
  const json& value = row.at(key);
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) {
    throw SourceError(std::string(key) + " must be a whole number, 0 to " + std::to_string(most));
  }
  return value.get<std::size_t>();
}

Cubic TakeCubic(const json& row, const char* key) {
  const json& values = row.at(key);
  if (!values.is_array() || values.size() != 4) {
    throw SourceError(std::string(key) + " must have 4 coefficients");
  }
  Cubic cubic{};
  for (std::size_t i = 0; i < cubic.size(); ++i) cubic[i] = values[i].get<double>();
  return cubic;
}

RangeHardware TakeRange(const json& row) {
  RangeHardware range;
  const auto code = ParseHexOrDecimal(row.at("code").get_ref<const std::string&>(), 0xFF);
  if (!code) throw SourceError("code must be \"0x00\" to \"0xFF\"");
  range.code = static_cast<std::uint8_t>(*code);
  range.full_scale = Number(row, "full_scale");
  range.gain_error = Number(row, "gain_error");
  range.offset = Number(row, "offset");
  range.dac_per_count = Number(row, "dac_per_count");
  range.gain = TakeCubic(row, "gain");
  range.lag = TakeCubic(row, "lag");
  if (!(range.full_scale > 0) || !(std::abs(range.gain_error) < 1) || range.dac_per_count == 0) {
    throw SourceError("full_scale above 0, gain_error below 1 and dac_per_count not 0 are needed");
  }
  return range;
}

/// Range selection relies on this order.
void CheckOrder(const std::vector<RangeHardware>& ranges) {
  std::vector<int> front_ends;
  for (std::size_t i = 0; i < ranges.size(); ++i) {
    const int front_end = ranges[i].code & kFrontEndMask;
    if (i > 0 && ranges[i].full_scale >= ranges[i - 1].full_scale) {
      throw SourceError("ranges must run from the largest full_scale down");
    }
    if (!front_ends.empty() && front_ends.back() == front_end) continue;
    if (std::ranges::find(front_ends, front_end) != front_ends.end()) {
      throw SourceError("ranges of one front end must be together");
    }
    front_ends.push_back(front_end);
  }
}

void TakeRanges(const json& modes, ChannelHardware& hardware) {
  for (std::size_t mode = 1; mode < kInputModes; ++mode) {
    std::vector<RangeHardware> ranges;
    for (const json& row : modes.at(kModeNames[mode])) ranges.push_back(TakeRange(row));
    CheckOrder(ranges);
    hardware.ranges[mode] = std::move(ranges);
  }
}

void TakeFilters(const json& rows, ChannelHardware& hardware) {
  hardware.filters.clear();
  for (const json& row : rows) {
    if (Index(row, "number", ChannelHardware::kFilters) != hardware.filters.size()) {
      throw SourceError("filters must be numbered from 0");
    }
    const FilterHardware filter{Number(row, "gain"), Number(row, "corner_hz")};
    if (!(filter.gain > 0) || filter.corner_hz < 0) throw SourceError("a filter cannot be that");
    hardware.filters.push_back(filter);
  }
  if (hardware.filters.size() != ChannelHardware::kFilters) {
    throw SourceError("there must be " + std::to_string(ChannelHardware::kFilters) + " filters");
  }
}

void TakeTestModes(const json& rows, ChannelHardware& hardware) {
  hardware.test_modes.clear();
  for (const json& row : rows) {
    DcTestMode mode;
    mode.mode = static_cast<int>(Index(row, "mode", 255));
    mode.dac = Index(row, "dac", 3);
    mode.dac_per_count = Number(row, "dac_per_count");
    mode.offset = Number(row, "offset");
    if (mode.dac_per_count == 0) throw SourceError("dac_per_count must not be 0");
    hardware.test_modes.push_back(mode);
  }
}

BoardFields TakeFields(const json& document) {
  BoardFields fields;
  for (const auto& [name, value] : document.at("fields").items()) {
    fields[name] = value.get<std::string>();
  }
  return fields;
}

template <class Take>
std::string Parse(std::string_view text, const Take& take) {
  try {
    take(json::parse(text, nullptr, true, true));
    return "";
  } catch (const json::exception& error) {
    const std::string_view what = error.what();
    const std::size_t tag_end = what.find("] ");
    return std::string(tag_end == what.npos ? what : what.substr(tag_end + 2));
  } catch (const SourceError& error) {
    return error.what();
  }
}

}  // namespace

double Evaluate(const Cubic& cubic, double f) {
  return cubic[0] + f * (cubic[1] + f * (cubic[2] + f * cubic[3]));
}

std::optional<RangeHardware> ChannelHardware::Range(InputMode mode, std::uint8_t code) const {
  const RangeHardware* nearest = nullptr;
  const auto distance = [&](const RangeHardware& range) {
    return std::abs(GainSteps(range.code) - GainSteps(code));
  };
  for (const RangeHardware& range : ranges[static_cast<std::size_t>(mode)]) {
    if (((range.code ^ code) & kFrontEndMask) != 0) continue;
    if (nearest == nullptr || distance(range) < distance(*nearest)) nearest = &range;
  }
  if (nearest == nullptr) return std::nullopt;
  RangeHardware found = *nearest;
  const double factor = std::pow(kGainPerStep, GainSteps(code) - GainSteps(found.code));
  found.code = code;
  found.full_scale /= factor;
  found.offset *= factor;
  found.dac_per_count /= factor;
  return found;
}

std::complex<double> ChannelHardware::Response(InputMode mode, std::uint8_t code, int filter,
                                               double f) const {
  const auto range = Range(mode, code);
  if (!range) return 0;
  const double gain = Evaluate(range->gain, f);
  std::complex<double> response = std::polar(1 / (range->Scale() * gain), -Evaluate(range->lag, f));
  if (filter >= 0 && static_cast<std::size_t>(filter) < filters.size()) {
    const FilterHardware& low_pass = filters[static_cast<std::size_t>(filter)];
    response /= low_pass.gain;
    if (low_pass.corner_hz > 0) response /= std::complex<double>(1, f / low_pass.corner_hz);
  }
  return response;
}

std::string ParseChannelHardware(std::string_view text, ChannelHardware& hardware) {
  ChannelHardware taken;
  const std::string problem = Parse(text, [&](const json& document) {
    taken.fields = TakeFields(document);
    TakeRanges(document.at("ranges"), taken);
    TakeFilters(document.at("filters"), taken);
    TakeTestModes(document.at("test_modes"), taken);
  });
  if (problem.empty()) hardware = std::move(taken);
  return problem;
}

std::string ParseBoardFields(std::string_view text, BoardFields& fields) {
  return Parse(text, [&](const json& document) { fields = TakeFields(document); });
}

}  // namespace simulator
