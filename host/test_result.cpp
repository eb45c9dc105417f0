#include "host/test_result.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>
#include <numbers>

namespace host {
namespace {

constexpr double kMilliamperes = 1e3;  // in an ampere
constexpr double kVolts = 1e3;         // in a kilovolt
constexpr double kDegrees = 180 / std::numbers::pi;

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
  const double volts = record.acfcvolt * kVolts;
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

}  // namespace

std::string NumberText(double value) {
  constexpr int kDigits = 7;  // what a float on the wire holds
  return fmt::format("{:.{}g}", value, kDigits);
}

List Quantities(const TestResult& result) {
  const Msg::HmpTestRsltRep& record = result.record;
  const bool volts1 = (record.rsltype & Msg::RSLT_CH1_KILOVOLTS) != 0;
  const bool volts2 = (record.rsltype & Msg::RSLT_CH2_KILOVOLTS) != 0;
  List list;
  if (!result.dc) list.push_back({"frequency_hz", "frequency", "Hz", record.frequen});
  list.push_back(volts1
                     ? Quantity{"voltage_kv", "voltage", "kV", record.acfcvolt}
                     : Quantity{"current1_ma", "current 1", "mA", record.acfcvolt * kMilliamperes});
  list.push_back(volts2 ? Quantity{"voltage2_kv", "voltage 2", "kV", record.acamps}
                        : Quantity{"current_ma", "current", "mA", record.acamps * kMilliamperes});
  if (volts1 != volts2 && result.dc) {
    list.push_back({"resistance_ohm", "resistance", "ohm", record.sersres});
  } else if (volts1 && !volts2) {
    AddImpedance(record, list);
  } else if (volts1) {
    AddRatio(record, list);
  }
  return list;
}

TestResult ResultOf(const Reply& reply, bool dc) {
  return {*reinterpret_cast<const Msg::HmpTestRsltRep*>(reply.bytes.data()), dc};
}

int ProgressOf(const Reply& reply) {
  return reinterpret_cast<const Msg::HmpAckProgressRep*>(reply.bytes.data())->status[0] & 0xFFFF;
}

int StatusOf(const TestResult& result) { return result.record.ranging & 0xFFFF; }

std::string StatusText(int status) {
  return status == 0 ? "valid data" : fmt::format("{}", fmt::join(NamesOf(status), ", "));
}

nlohmann::ordered_json StatusNames(int status) { return NamesOf(status); }

nlohmann::ordered_json ResultJson(const TestResult& result) {
  nlohmann::ordered_json json;
  for (const Quantity& quantity : Quantities(result)) json[quantity.key] = quantity.value;
  json["status"] = StatusOf(result);
  json["status_names"] = StatusNames(StatusOf(result));
  return json;
}

std::string CsvHead(const TestResult& result) {
  std::string text;
  for (const Quantity& quantity : Quantities(result)) text += fmt::format("{},", quantity.key);
  return text + "status\n";
}

std::string CsvRow(const TestResult& result) {
  std::string text;
  for (const Quantity& quantity : Quantities(result)) text += NumberText(quantity.value) + ",";
  return text + fmt::format("0x{:04X}\n", StatusOf(result));
}

}  // namespace host
