#include "host/measurement_result.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cmath>
#include <cstring>
#include <numbers>

#include "host/hex.h"
#include "platform/backend.h"

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

const char* TargetKey(const MeasurementContext& context) {
  return context.current ? "target_a" : "target_v";
}

std::string CsvNumber(double value) { return std::isfinite(value) ? NumberText(value) : ""; }

}  // namespace

std::string NumberText(double value) {
  if (!std::isfinite(value)) return "-";
  constexpr int kDigits = 7;  // what a float on the wire holds
  return fmt::format("{:.{}g}", value, kDigits);
}

List Quantities(const MeasurementResult& result) {
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

MeasurementResult ResultOf(const Reply& reply, const MeasurementContext& context) {
  return {context, *reinterpret_cast<const Msg::HmpTestRsltRep*>(reply.bytes.data()),
          platform::Machine().Clock().Realtime()};
}

nlohmann::ordered_json ResultEntry(const MeasurementResult& result) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&result.record);
  return {{"dc", result.dc},
          {"current", result.current},
          {"target", result.target},
          {"voltage_range", result.voltage_range},
          {"current_range", result.current_range},
          {"seconds", result.time.tv_sec},
          {"nanoseconds", result.time.tv_nsec},
          {"record", HexText(Bytes(bytes, bytes + sizeof result.record))}};
}

std::optional<MeasurementResult> ResultOfEntry(const nlohmann::ordered_json& entry) {
  try {
    MeasurementResult result;
    std::string error;
    const auto bytes = ParseHex(entry.at("record").get<std::string>(), error);
    if (!bytes || bytes->size() != sizeof result.record) return std::nullopt;
    std::memcpy(static_cast<void*>(&result.record), bytes->data(), sizeof result.record);
    entry.at("dc").get_to(result.dc);
    entry.at("current").get_to(result.current);
    entry.at("target").get_to(result.target);
    entry.at("voltage_range").get_to(result.voltage_range);
    entry.at("current_range").get_to(result.current_range);
    entry.at("seconds").get_to(result.time.tv_sec);
    entry.at("nanoseconds").get_to(result.time.tv_nsec);
    return result;
  } catch (const nlohmann::json::exception&) {  // the library reports so
    return std::nullopt;
  }
}

int ProgressOf(const Reply& reply) {
  return reinterpret_cast<const Msg::HmpAckProgressRep*>(reply.bytes.data())->status[0] & 0xFFFF;
}

int StatusOf(const MeasurementResult& result) { return result.record.ranging & 0xFFFF; }

std::string StatusText(int status) {
  return status == 0 ? "valid data" : fmt::format("{}", fmt::join(NamesOf(status), ", "));
}

nlohmann::ordered_json StatusNames(int status) { return NamesOf(status); }

std::string TimeText(const timespec& time) {
  constexpr long kMilli = 1000000;
  tm utc{};
  ::gmtime_r(&time.tv_sec, &utc);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", utc, time.tv_nsec / kMilli);
}

nlohmann::ordered_json ResultJson(const MeasurementResult& result) {
  nlohmann::ordered_json json = {{"time", TimeText(result.time)},
                                 {TargetKey(result), result.target},
                                 {"range_voltage", result.voltage_range},
                                 {"range_current", result.current_range},
                                 {"full_scale1", double{result.record.ch1fulsc}},
                                 {"full_scale2", double{result.record.ch2fulsc}}};
  for (const Quantity& quantity : Quantities(result)) json[quantity.key] = quantity.value;
  json["status"] = StatusOf(result);
  json["status_names"] = StatusNames(StatusOf(result));
  return json;
}

std::string CsvHead(const MeasurementResult& result) {
  std::string text = fmt::format("time,{},range_voltage,range_current,full_scale1,full_scale2,",
                                 TargetKey(result));
  for (const Quantity& quantity : Quantities(result)) text += fmt::format("{},", quantity.key);
  return text + "status\n";
}

std::string CsvRow(const MeasurementResult& result) {
  std::string text = fmt::format(
      "{},{},{},{},{},{},", TimeText(result.time), result.target, result.voltage_range,
      result.current_range, CsvNumber(result.record.ch1fulsc), CsvNumber(result.record.ch2fulsc));
  for (const Quantity& quantity : Quantities(result)) text += CsvNumber(quantity.value) + ",";
  return text + fmt::format("0x{:04X}\n", StatusOf(result));
}

}  // namespace host
