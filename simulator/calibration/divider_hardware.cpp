#include "simulator/calibration/divider_hardware.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include "simulator/calibration/eeprom_document.h"
#include "simulator/sample_files.h"

namespace simulator {
namespace {

constexpr std::size_t kScaleValues = 2;
constexpr std::size_t kCalValues = 8;  // gain, then phase

std::vector<double> ValuesOf(const EepromDocument& document, const EepromDocument::Field& field) {
  std::istringstream words(document.Content(field));
  std::vector<double> values;
  for (double value = 0; words >> value;) values.push_back(value);
  return values;
}

void Take(const std::vector<double>& values, DividerHardware& divider) {
  if (values.size() == kScaleValues) {
    divider.ratio = values[0];
  } else if (values.size() == kCalValues) {
    const auto phase = values.begin() + static_cast<std::ptrdiff_t>(divider.gain.size());
    std::copy(values.begin(), phase, divider.gain.begin());
    std::copy(phase, values.end(), divider.lag.begin());
  }
}

}  // namespace

std::complex<double> DividerHardware::Response(double hertz) const {
  return std::polar(1 / (ratio * Evaluate(gain, hertz)), -Evaluate(lag, hertz));
}

std::string ReadDividers(std::string_view xml, Dividers& dividers) {
  EepromDocument document;
  if (std::string problem = document.Parse(xml); !problem.empty()) return problem;
  constexpr std::array<std::string_view, kDividers> kTags = {"main_ref_scale_1",
                                                             "main_ref_scale_2"};
  Dividers taken;
  for (const EepromDocument::Block& block : document.Blocks()) {
    for (const EepromDocument::Field& field : block.fields) {
      const auto* tag = std::ranges::find(kTags, field.tag);
      if (tag == kTags.end() || field.count == 0) continue;
      Take(ValuesOf(document, field), taken[static_cast<std::size_t>(tag - kTags.begin())]);
    }
  }
  if (!std::ranges::all_of(taken, [](const auto& divider) { return divider.ratio > 1; })) {
    return "no ratios of two dividers";
  }
  dividers = taken;
  return "";
}

const Dividers& ShippedDividers() {
  static const Dividers dividers = [] {
    Dividers shipped;
    ReadDividers(ShippedFile("/home/root/11m_mainref_f.xml"), shipped);
    return shipped;
  }();
  return dividers;
}

}  // namespace simulator
