// The handler of the result poll: it puts the values of the correlators and of the electrical
// results into the host's record. During a test the poll also carries faults to the host.
//
// Each handler takes its request in place in its bus frame, at least as long as the record, and a
// reply whose header is the request's and whose rest is 0. It returns 0 when the reply is complete.
//
// Threads: the measurement's lock is held.
#pragma once

#include "common/msg/records/hmp_records.h"
#include "mos/instrument/instrument.h"

namespace Mos::handlers {

class Results {
 public:
  explicit Results(const Instrument& its) : its_(its) {}

  int HandleMsg6(const Msg::HmpTestRsltReq* request, Msg::HmpTestRsltRep* reply);

 private:
  const Instrument& its_;
};

}  // namespace Mos::handlers
