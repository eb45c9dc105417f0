// Handlers of the service requests that change the sampling clock behind a test.
//
// They are not refused in a running test, but what it reads from then on does not belong to its
// parameters: its data are not valid until an update has set clock, filters and parameters
// together. The correlators follow the clock all the same, as the watch of the voltage reads them.
//
// Each handler takes its request in place in its bus frame, at least as long as the record, and a
// reply whose header is the request's and whose rest is 0. It gives 0 when the reply is complete,
// kClockRefused when the clock refuses.
//
// Threads: the measurement's lock is held.
#pragma once

#include "common/msg/records/hmp_records.h"
#include "mos/instrument/instrument.h"

namespace Mos::handlers {

class Clock {
 public:
  explicit Clock(const Instrument& its) : its_(its) {}

  int HandleMsg1A(const Msg::HmpSetSampParamReq* request, Msg::HmpSetSampParamRep* reply);
  int HandleMsg1B(const Msg::HmpAdjFreqReq* request, Msg::HmpAdjFreqRep* reply);

 private:
  void Follow(float hertz, int samples);

  const Instrument& its_;
};

}  // namespace Mos::handlers
