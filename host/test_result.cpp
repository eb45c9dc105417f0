#include "host/test_result.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string_view>

namespace host {
namespace {

constexpr double kMilli = 1e3;    // amperes to milliamperes
constexpr double kPerKilo = 1e3;  // kilovolts to volts
constexpr double kDegrees = 180 / std::numbers::pi;
constexpr int kLabelWidth = 20;
constexpr int kColumnWidth = 12;
constexpr int kDigits = 7;  // what a float on the wire holds

struct StatusBit {
  int mask;
  const char* name;
};
constexpr StatusBit kStatusBits[] = {
#define Q5_STATUS_BIT(name, value) {value, #name},
    Q5_STATUS_FLAGS(Q5_STATUS_BIT)
#undef Q5_STATUS_BIT
};

std::vector<const char*> NamesOf(int status) {
  std::vector<const char*> names;
  for (const StatusBit& bit : kStatusBits) {
    if ((status & bit.mask) != 0) names.push_back(bit.name);
  }
  return names;
}

using List = std::vector<Quantity>;

// Loss over reactive part; what the record calls tandelt is the tangent of the phase itself.
double LossTangent(const Msg::HmpTestRsltRep& record) {
  return record.pwrfctr / std::abs(double{record.sinthet});
}

void AddImpedance(const Msg::HmpTestRsltRep& record, List& list) {
  const double volts = record.acfcvolt * kPerKilo;
  const double phase = std::atan2(record.sinthet, record.pwrfctr) * kDegrees;
  list.insert(list.end(), {{"power_w", "power", "W", record.acwatts},
                           {"power_factor_percent", "power factor", "%", record.pwrfctr},
                           {"tan_delta", "tan delta", "", LossTangent(record)},
                           {"phase_degrees", "phase", "deg", phase},
                           {"impedance_ohm", "impedance", "ohm", volts / record.acamps},
                           {"series_resistance_ohm", "series R", "ohm", record.sersres},
                           {"parallel_capacitance_pf", "parallel C", "pF", record.parlcap},
                           {"series_capacitance_pf", "series C", "pF", record.serscap},
                           {"parallel_inductance_h", "parallel L", "H", record.parlind},
                           {"series_inductance_h", "series L", "H", record.sersind}});
}

void AddRatio(const Msg::HmpTestRsltRep& record, List& list) {
  const double phase = std::atan2(record.sinthet, record.pwrfctr) * kDegrees;
  list.insert(list.end(), {{"ratio", "ratio", "", double{record.acfcvolt} / record.acamps},
                           {"phase_degrees", "phase", "deg", phase}});
}

// What a table of one line a result has room for.
bool InTable(const Quantity& quantity) {
  constexpr std::string_view kNotShown[] = {"impedance_ohm",         "series_capacitance_pf",
                                            "parallel_inductance_h", "series_inductance_h",
                                            "phase_degrees",         "power_w"};
  return std::ranges::find(kNotShown, std::string_view(quantity.key)) == std::end(kNotShown);
}

std::string Number(double value) { return fmt::format("{:.{}g}", value, kDigits); }

}  // namespace

List Quantities(const TestResult& result) {
  const Msg::HmpTestRsltRep& record = result.record;
  const bool volts1 = (record.rsltype & Msg::RSLT_CH1_KILOVOLTS) != 0;
  const bool volts2 = (record.rsltype & Msg::RSLT_CH2_KILOVOLTS) != 0;
  List list = {{"frequency_hz", "frequency", "Hz", record.frequen}};
  list.push_back(volts1 ? Quantity{"voltage_kv", "voltage", "kV", record.acfcvolt}
                        : Quantity{"current1_ma", "current 1", "mA", record.acfcvolt * kMilli});
  list.push_back(volts2 ? Quantity{"voltage2_kv", "voltage 2", "kV", record.acamps}
                        : Quantity{"current_ma", "current", "mA", record.acamps * kMilli});
  if (volts1 != volts2 && result.dc) {
    list.push_back({"resistance_ohm", "resistance", "ohm", record.sersres});
  } else if (volts1 && !volts2) {
    AddImpedance(record, list);
  } else if (volts1) {
    AddRatio(record, list);
  }
  return list;
}

int StatusOf(const TestResult& result) { return result.record.ranging & 0xFFFF; }

std::string StatusText(int status) {
  return status == 0 ? "valid data" : fmt::format("{}", fmt::join(NamesOf(status), ", "));
}

nlohmann::ordered_json StatusNames(int status) { return NamesOf(status); }

std::string ResultText(const TestResult& result) {
  std::string text;
  for (const Quantity& quantity : Quantities(result)) {
    text += fmt::format("{:<{}}{} {}\n", quantity.label, kLabelWidth, Number(quantity.value),
                        quantity.unit);
  }
  return text + fmt::format("{:<{}}0x{:04X}, {}\n", "status", kLabelWidth, StatusOf(result),
                            StatusText(StatusOf(result)));
}

nlohmann::ordered_json ResultJson(const TestResult& result) {
  nlohmann::ordered_json json;
  for (const Quantity& quantity : Quantities(result)) json[quantity.key] = quantity.value;
  json["status"] = StatusOf(result);
  json["status_names"] = StatusNames(StatusOf(result));
  return json;
}

std::string TableHead(const TestResult& result) {
  std::string labels, units;
  for (const Quantity& quantity : Quantities(result)) {
    if (!InTable(quantity)) continue;
    labels += fmt::format("{:>{}}  ", quantity.label, kColumnWidth);
    units += fmt::format("{:>{}}  ", quantity.unit, kColumnWidth);
  }
  return labels + "status\n" + units + "\n";
}

std::string TableRow(const TestResult& result) {
  std::string text;
  for (const Quantity& quantity : Quantities(result)) {
    if (!InTable(quantity)) continue;
    text += fmt::format("{:>{}}  ", Number(quantity.value), kColumnWidth);
  }
  return text + StatusText(StatusOf(result)) + "\n";
}

std::string CsvHead(const TestResult& result) {
  std::string text;
  for (const Quantity& quantity : Quantities(result)) text += fmt::format("{},", quantity.key);
  return text + "status\n";
}

std::string CsvRow(const TestResult& result) {
  std::string text;
  for (const Quantity& quantity : Quantities(result)) text += Number(quantity.value) + ",";
  return text + fmt::format("0x{:04X}\n", StatusOf(result));
}

}  // namespace host
