#include "simulator/calibration/board_images.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>

#include "simulator/calibration/calibration_record.h"
#include "simulator/parse.h"

namespace simulator {
namespace {

constexpr std::size_t kMostBytes = 65536;
constexpr std::size_t kScaleValues = 2;
constexpr std::size_t kCalValues = 8;
constexpr char kFilterTag[] = "range_filter";

/// One row of ranges or filters of the record: the code, then an array in the scaling block
/// and one in the calibration block.
struct RecordRow {
  unsigned code;
  std::vector<float> scale;  ///< value of a count, DAC counts per count
  std::vector<float> cal;    ///< gain, phase
};
using RecordRows = std::map<std::string, std::vector<RecordRow>, std::less<>>;  ///< by tag

struct ModeTag {
  InputMode mode;
  const char* tag;
};
constexpr ModeTag kModeTags[] = {{InputMode::kAcdcCurrent, "range_mode_acdc_i"},
                                 {InputMode::kAcVolt, "range_mode_acdc_v"},
                                 {InputMode::kDcVolt, "range_mode_dc_v"},
                                 {InputMode::kDcir, "range_mode_dcir"}};

/// Boards calibrated on or after this day (YYYYMMDD) hold the phase that is added to a reading;
/// older ones hold the one that is subtracted.
constexpr std::uint64_t kPhaseIsAddedFrom = 20150520;

/// Requires a date DD/MM/YYYY; anything else counts as a new board.
double PhaseSign(const BoardFields& fields) {
  const auto found = fields.find("brd_cal_date");
  constexpr std::size_t kDateLength = 10;
  if (found == fields.end() || found->second.size() != kDateLength) return 1;
  const std::string& date = found->second;
  const auto day = ParseNumber(date.substr(6) + date.substr(3, 2) + date.substr(0, 2), 99999999);
  return !day || *day >= kPhaseIsAddedFrom ? 1 : -1;
}

std::vector<float> GainAndPhase(const Cubic& gain, const Cubic& lag, double sign) {
  std::vector<float> values;
  for (const double value : gain) values.push_back(static_cast<float>(value));
  for (const double value : lag) values.push_back(static_cast<float>(sign * value));
  return values;
}

RecordRow RangeRow(const RangeHardware& range, double sign) {
  return {range.code,
          {static_cast<float>(range.Scale()), static_cast<float>(range.dac_per_count)},
          GainAndPhase(range.gain, range.lag, sign)};
}

/// The series of a first-order low-pass up to the third power of f / corner: right to a few parts
/// in a million up to a twentieth of the corner, which is where the filter is used.
RecordRow FilterRow(std::size_t number, const FilterHardware& filter, double sign) {
  Cubic gain{filter.gain, 0, 0, 0};
  Cubic lag{};
  if (filter.corner_hz > 0) {
    gain[2] = filter.gain / (2 * std::pow(filter.corner_hz, 2));
    lag[1] = 1 / filter.corner_hz;
    lag[3] = -1 / (3 * std::pow(filter.corner_hz, 3));
  }
  return {static_cast<unsigned>(number), {1.0F, 0.0F}, GainAndPhase(gain, lag, sign)};
}

RecordRows Rows(const ChannelHardware& hardware) {
  const double sign = PhaseSign(hardware.fields);
  RecordRows rows;
  for (const auto& [mode, tag] : kModeTags) {
    for (const RangeHardware& range : hardware.ranges[static_cast<std::size_t>(mode)]) {
      rows[tag].push_back(RangeRow(range, sign));
    }
  }
  for (std::size_t number = 0; number < hardware.filters.size(); ++number) {
    rows[kFilterTag].push_back(FilterRow(number, hardware.filters[number], sign));
  }
  return rows;
}

std::string Hex(unsigned value) {
  char text[16];
  std::snprintf(text, sizeof text, "%x", value);
  return text;
}

/// Fills the rows of one block in file order: a code field with a tag, then its array.
std::string FillRows(const EepromDocument::Block& block, const RecordRows& rows,
                     EepromDocument& document) {
  std::map<std::string, std::size_t, std::less<>> used;
  const RecordRow* row = nullptr;
  for (const EepromDocument::Field& field : block.fields) {
    const auto mode = rows.find(field.tag);
    if (mode != rows.end() && field.count == 0) {
      const std::size_t index = used[field.tag]++;
      if (index >= mode->second.size()) return "the template has more rows of " + field.tag;
      row = &mode->second[index];
      document.SetContent(field, Hex(row->code));
    } else if (row != nullptr && field.count == kScaleValues) {
      document.SetValues(field, row->scale);
    } else if (row != nullptr && field.count == kCalValues) {
      document.SetValues(field, row->cal);
    }
  }
  for (const auto& [tag, of_mode] : rows) {
    if (row != nullptr && used[tag] != of_mode.size())
      return "the template has fewer rows of " + tag;
  }
  return "";
}

std::string ReadImage(const std::string& path, std::vector<std::uint8_t>& image) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return path + ": " + std::strerror(errno);
  image.assign(std::istreambuf_iterator<char>(file), {});
  if (image.size() > kMostBytes) return path + ": too big for a chip of 65536 bytes";
  return "";
}

}  // namespace

std::string FillFields(const BoardFields& fields, EepromDocument& document) {
  for (const auto& [name, text] : fields) {
    bool found = false;
    for (const EepromDocument::Block& block : document.Blocks()) {
      const auto field = std::ranges::find(block.fields, name, &EepromDocument::Field::name);
      if (field == block.fields.end()) continue;
      document.SetContent(*field, text);
      found = true;
    }
    if (!found) return "the template has no field " + name;
  }
  return "";
}

std::string FillCalibration(const ChannelHardware& hardware, EepromDocument& document) {
  std::string problem = FillFields(hardware.fields, document);
  const RecordRows rows = Rows(hardware);
  for (const EepromDocument::Block& block : document.Blocks()) {
    if (problem.empty()) problem = FillRows(block, rows, document);
  }
  return problem;
}

std::string MakeImage(std::string_view form, EepromDocument& document,
                      std::vector<std::uint8_t>& image) {
  image.clear();
  if (form == "blank") return "";
  if (form != "raw" && form != "compressed") return ReadImage(std::string(form), image);
  // Also for a compressed record: the XML carries the checksums of the raw form.
  const std::string problem = document.Encode(image);
  if (!problem.empty() || form == "raw") return problem;
  return PackRecord(document.Text(), image);
}

}  // namespace simulator
