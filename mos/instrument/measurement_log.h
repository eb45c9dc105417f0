// Two lines in the log for each test, so that a person sees at a glance what ran: one at its start
// (kind, target, frequency), one at its end (duration, last result or refusal).
//
// Threads: one at a time.
#pragma once

#include <optional>

#include "common/msg/records/hmp_records.h"
#include "platform/clock.h"

namespace Mos {

class MeasurementLog {
 public:
  void Start();
  void Result(const Msg::HmpTestRsltRep& record);
  void Refusal(int opcode, const Msg::HmpErrorRep& nak);
  /// `how` says what ended the test.
  void End(const char* how) const;

 private:
  std::optional<platform::Nanoseconds> started_;  ///< monotonic
  bool has_result_ = false;
  struct {
    int status;
    float channel1;  ///< kV or A, as in the host's record
    float channel2;
  } result_{};
  int refused_opcode_ = 0;  ///< 0: the last answer was no refusal
  int refused_code_ = 0;
};

}  // namespace Mos
