// Handlers that set a test up, for voltage and for current.
//
// Each handler takes its request in place in its bus frame, at least as long as the record, and a
// reply whose header is the request's and whose rest is 0. It returns 0 when the reply is complete.
//
// Threads: the measurement's lock is held.
#pragma once

#include "common/msg/records/hmp_records.h"
#include "mos/instrument/instrument.h"

namespace Mos::handlers {

class SetUp {
 public:
  explicit SetUp(const Instrument& its) : its_(its) {}

  int HandleMsg3(const Msg::HmpIniTestParamReq* request, Msg::HmpIniTestParamRep* reply);
  int HandleMsg33(const Msg::HmpIniTestParamReqI* request, Msg::HmpIniTestParamRepI* reply);

 private:
  struct Kind;
  template <class Request>
  int Begin(const Kind& kind, const Request& request, void* reply);
  void SetUpChannels();
  /// No result has been asked for, and the polarity is the normal one.
  void ResetVariables();

  const Instrument& its_;
};

}  // namespace Mos::handlers
