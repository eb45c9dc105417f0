#include "host/result_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace host {
namespace {

constexpr int kLabelWidth = 20;
constexpr int kColumnWidth = 12;

// Units that take a prefix, with what one of them is in the plain unit.
struct BaseUnit {
  std::string_view unit;
  std::string_view plain;
  double size;
};
constexpr BaseUnit kBaseUnits[] = {{"kV", "V", 1e3},   {"mA", "A", 1e-3}, {"W", "W", 1},
                                   {"pF", "F", 1e-12}, {"H", "H", 1},     {"ohm", "ohm", 1}};

struct Prefix {
  std::string_view name;
  double size;
};
constexpr Prefix kPrefixes[] = {{"a", 1e-18}, {"f", 1e-15}, {"p", 1e-12}, {"n", 1e-9}, {"u", 1e-6},
                                {"m", 1e-3},  {"", 1},      {"k", 1e3},   {"M", 1e6},  {"G", 1e9}};

// The quantities that a line of a table has room for.
std::vector<Quantity> TableQuantities(const MeasurementResult& result) {
  constexpr std::string_view kNotShown[] = {"impedance_ohm",         "series_capacitance_pf",
                                            "parallel_inductance_h", "series_inductance_h",
                                            "phase_degrees",         "power_w"};
  std::vector<Quantity> list = Quantities(result);
  std::erase_if(list, [&kNotShown](const Quantity& quantity) {
    return std::ranges::find(kNotShown, std::string_view(quantity.key)) != std::end(kNotShown);
  });
  return list;
}

}  // namespace

ShownUnit UnitFor(const Quantity& quantity) {
  const std::string_view unit = quantity.unit;
  const auto* base = std::ranges::find(kBaseUnits, unit, &BaseUnit::unit);
  const double size = base == std::end(kBaseUnits) ? 0 : std::abs(quantity.value) * base->size;
  if (!std::isfinite(size) || size == 0) return {std::string(unit), 1};
  const Prefix* prefix = std::begin(kPrefixes);
  while (prefix + 1 != std::end(kPrefixes) && prefix[1].size <= size) ++prefix;
  return {fmt::format("{}{}", prefix->name, base->plain), base->size / prefix->size};
}

std::string ResultText(const MeasurementResult& result) {
  std::string text;
  for (const Quantity& quantity : Quantities(result)) {
    const ShownUnit unit = UnitFor(quantity);
    text += fmt::format("{:<{}}{}{}{}\n", quantity.label, kLabelWidth,
                        NumberText(quantity.value * unit.factor), unit.name.empty() ? "" : " ",
                        unit.name);
  }
  return text + fmt::format("{:<{}}0x{:04X}, {}\n", "status", kLabelWidth, StatusOf(result),
                            StatusText(StatusOf(result)));
}

ResultTable::ResultTable(std::span<const MeasurementResult> results) {
  std::vector<Quantity> largest;
  for (const MeasurementResult& result : results) {
    const std::vector<Quantity> list = TableQuantities(result);
    if (largest.empty()) largest = list;
    for (std::size_t i = 0; i < std::min(list.size(), largest.size()); ++i) {
      if (std::abs(list[i].value) > std::abs(largest[i].value)) largest[i].value = list[i].value;
    }
  }
  for (const Quantity& quantity : largest) columns_.push_back({quantity.label, UnitFor(quantity)});
}

std::string ResultTable::Head() const {
  std::string labels, units;
  for (const Column& column : columns_) {
    labels += fmt::format("{:>{}}  ", column.label, kColumnWidth);
    units += fmt::format("{:>{}}  ", column.unit.name, kColumnWidth);
  }
  units.erase(units.find_last_not_of(' ') + 1);
  return labels + "status\n" + units + "\n";
}

std::string ResultTable::Row(const MeasurementResult& result) const {
  std::string text;
  const std::vector<Quantity> list = TableQuantities(result);
  for (std::size_t i = 0; i < std::min(list.size(), columns_.size()); ++i) {
    text +=
        fmt::format("{:>{}}  ", NumberText(list[i].value * columns_[i].unit.factor), kColumnWidth);
  }
  return text + StatusText(StatusOf(result)) + "\n";
}

bool ResultTable::Takes(const MeasurementResult& result) const {
  return std::ranges::equal(TableQuantities(result), columns_, [](const auto& a, const auto& b) {
    return std::string_view(a.label) == b.label;
  });
}

}  // namespace host
