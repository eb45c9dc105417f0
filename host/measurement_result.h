// The result of a poll in engineering units.
#pragma once

#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "common/msg/records/hmp_results.h"
#include "common/msg/records/status_flags.h"
#include "host/reply.h"

namespace host {

enum StatusFlag : int {
#define Q5_STATUS_FLAG(name, value) name = (value),
  Q5_STATUS_FLAGS(Q5_STATUS_FLAG)
#undef Q5_STATUS_FLAG
};

/// What was asked for when a result was read.
struct MeasurementContext {
  bool dc = false;       ///< of a DC test: what needs a phase means nothing
  bool current = false;  ///< `target` is in A, not in V
  int target = 0;
  int voltage_range = 0;  ///< index, 0: the daemon's choice
  int current_range = 0;
};

struct MeasurementResult : MeasurementContext {
  Msg::HmpTestRsltRep record{};
  timespec time{};  ///< of day, when it was read
};

/// The unit is part of `key`, a name for programs: "current_ma".
struct Quantity {
  const char* key;
  const char* label;
  const char* unit;
  double value;
};

/// What the result says, as far as it follows from what the channels see: volts and amperes, two
/// voltages (a ratio), DC. No value where it would divide by 0: not finite.
std::vector<Quantity> Quantities(const MeasurementResult& result);

/// What a good reply to 0x06 says, read now.
MeasurementResult ResultOf(const Reply& reply, const MeasurementContext& context);
/// A result as an entry of the live stream, and back; nothing for any other entry.
nlohmann::ordered_json ResultEntry(const MeasurementResult& result);
std::optional<MeasurementResult> ResultOfEntry(const nlohmann::ordered_json& entry);

/// Channel status flags, as 0 to 0xFFFF: of a result, and of a good reply to 0x46.
int StatusOf(const MeasurementResult& result);
int ProgressOf(const Reply& reply);
/// The names of the bits with commas between them; "valid data" for none.
std::string StatusText(int status);
nlohmann::ordered_json StatusNames(int status);

/// A number with the digits that the wire's floats have; "-" for what is not finite.
std::string NumberText(double value);
/// "2026-11-23T13:36:17.250Z"
std::string TimeText(const timespec& time);

/// Time, target, ranges, the quantities by their keys, "status" and "status_names".
nlohmann::ordered_json ResultJson(const MeasurementResult& result);

/// CSV with the same keys as its head; the head of any one result fits all of a run. What is not
/// finite is empty.
std::string CsvHead(const MeasurementResult& result);
std::string CsvRow(const MeasurementResult& result);

}  // namespace host
