// Handlers of the relays and leads of a test: they set which high-voltage divider is in front of a
// channel, and let the channels take their ranges.
//
// Each handler takes its request in place in its bus frame, at least as long as the record, and a
// reply whose header is the request's and whose rest is 0. It returns 0 when the reply is complete.
//
// Threads: the measurement's lock is held.
#pragma once

#include "common/msg/records/hmp_records.h"
#include "mos/instrument/instrument.h"

namespace Mos::handlers {

class Relays {
 public:
  explicit Relays(const Instrument& its) : its_(its) {}

  int HandleMsg17(const Msg::HmpTestRlyReq* request, Msg::HmpTestRlyRep* reply);
  int HandleMsg28(const Msg::HmpLeadConfigReq* request, Msg::HmpLeadConfigRep* reply);

 private:
  const Instrument& its_;
};

}  // namespace Mos::handlers
