#include "mos/instrument/measurement_log.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#include "common/log/log_line.h"
#include "common/msg/records/major_codes.h"
#include "common/msg/state/hmp_data.h"
#include "platform/backend.h"

namespace Mos {

using Msg::ghmp;

namespace {

platform::Nanoseconds Now() { return platform::Machine().Clock().Monotonic(); }

int FirstCode(const Msg::HmpErrorRep& nak) {
  const int count = std::clamp<int>(nak.count, 0, Msg::kErrorListWords);
  return count > 1 ? Msg::ErrorCodeOf(nak.ecodes[1]) : 0;
}

}  // namespace

void MeasurementLog::Start() {
  started_ = Now();
  const bool current = ghmp->CurrentTest();
  const char* kind = Msg::HMPData::GetTestType(ghmp->testype);
  Q5_LOG_NOTICE(measurementL, "test starts: %s, %d %s, %g Hz\n",
                kind == nullptr ? "unknown kind" : kind,
                current ? ghmp->ampmax.load() : ghmp->volttarget.load(), current ? "A" : "V",
                ghmp->IsDCTest() ? 0.0 : double{ghmp->frequency});
}

void MeasurementLog::Result(const Msg::HmpTestRsltRep& record) {
  has_result_ = true;
  result_ = {record.ranging, record.acfcvolt, record.acamps};
  refused_opcode_ = 0;
}

void MeasurementLog::Refusal(int opcode, const Msg::HmpErrorRep& nak) {
  refused_opcode_ = opcode;
  refused_code_ = FirstCode(nak);
}

void MeasurementLog::End(const char* how) const {
  std::string last = "no result";
  char text[96];
  if (refused_opcode_ != 0) {
    const char* name = Msg::MajorCodeName(refused_code_);
    std::snprintf(text, sizeof text, "0x%02X refused with %d %s",
                  static_cast<unsigned>(refused_opcode_), refused_code_,
                  name == nullptr ? "" : name);
    last = text;
  } else if (has_result_) {
    std::snprintf(text, sizeof text, "last status 0x%04X, channel 1 %g, channel 2 %g",
                  static_cast<unsigned>(result_.status) & 0xFFFFU, double{result_.channel1},
                  double{result_.channel2});
    last = text;
  }
  const std::chrono::duration<double> duration =
      started_ ? Now() - *started_ : platform::Nanoseconds{0};
  Q5_LOG_NOTICE(measurementL, "test ends by %s after %.1f s: %s\n", how, duration.count(),
                last.c_str());
}

}  // namespace Mos
