// The result of a poll in engineering units.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "common/msg/hmp_results.h"
#include "common/msg/status_flags.h"
#include "host/reply.h"

namespace host {

enum StatusFlag : int {
#define Q5_STATUS_FLAG(name, value) name = (value),
  Q5_STATUS_FLAGS(Q5_STATUS_FLAG)
#undef Q5_STATUS_FLAG
};

struct TestResult {
  Msg::HmpTestRsltRep record{};
  bool dc = false;  ///< of a DC test: what needs a phase means nothing
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
std::vector<Quantity> Quantities(const TestResult& result);

/// What a good reply to 0x06 says, of a test with AC or DC.
TestResult ResultOf(const Reply& reply, bool dc);

/// Channel status flags, as 0 to 0xFFFF: of a result, and of a good reply to 0x46.
int StatusOf(const TestResult& result);
int ProgressOf(const Reply& reply);
/// The names of the bits with commas between them; "valid data" for none.
std::string StatusText(int status);
nlohmann::ordered_json StatusNames(int status);

/// A number with the digits that the wire's floats have.
std::string NumberText(double value);

/// The quantities by their keys, "status" and "status_names".
nlohmann::ordered_json ResultJson(const TestResult& result);

/// CSV with the keys as its head; the head of any one result fits all of a run.
std::string CsvHead(const TestResult& result);
std::string CsvRow(const TestResult& result);

}  // namespace host
