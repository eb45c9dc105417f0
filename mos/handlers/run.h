// Handlers that start, pause and stop a test, and the diagnostic results.
//
// Each handler takes its request in place in its bus frame, at least as long as the record, and a
// reply whose header is the request's and whose rest is 0. It returns 0 when the reply is complete.
//
// Threads: the measurement's lock is held.
#pragma once

#include "common/msg/records/hmp_records.h"
#include "mos/instrument/instrument.h"

namespace Mos::handlers {

class Run {
 public:
  explicit Run(const Instrument& its) : its_(its) {}

  int HandleMsg5(const Msg::HmpStartTestReq* request, Msg::HmpStartTestRep* reply);
  int HandleMsg7(const Msg::HmpStopTestReq* request, Msg::HmpStopTestRep* reply);
  int HandleMsg16(const Msg::HmpTestRsltReq* request, Msg::HmpTestRsltExtRep* reply);
  int HandleMsg26(const Msg::HmpTestRsltReq* request, Msg::HmpTestRsltExtExtRep* reply);
  int HandleMsg27(const Msg::HmpPauseTestReq* request, Msg::HmpPauseTestRep* reply);

 private:
  int RestartAcquisition();

  const Instrument& its_;
};

}  // namespace Mos::handlers
