// Handlers of the housekeeping requests.
//
// Each handler takes its request in place in its bus frame, at least as long as the record, and a
// reply whose header is the request's and whose rest is 0. It returns 0 when the reply is complete.
//
// Threads: the measurement's lock is held.
#pragma once

#include "common/msg/records/hmp_records.h"
#include "mos/instrument/instrument.h"

namespace Mos::handlers {

class Service {
 public:
  explicit Service(const Instrument& its) : its_(its) {}

  int HandleMsg1D(const Msg::HmpLoadTapChangerReq* request, Msg::HmpLoadTapChangerRep* reply);
  int HandleMsg1F(const Msg::HmpConfVersReq* request, Msg::HmpConfVersRep* reply);
  int HandleMsg21(const Msg::HmpFWUpdateInitReq* request, Msg::HmpFWUpdateInitRep* reply);
  int HandleMsg35(const Msg::HmpSetTimeOfDayReq* request, Msg::HmpSetTimeOfDayRep* reply);
  int HandleMsg36(const Msg::HmpStartRowReq* request, Msg::HmpStartRowRep* reply);
  int HandleMsg37(const Msg::HmpEndRowReq* request, Msg::HmpEndRowRep* reply);
  int HandleMsg38(const Msg::HmpMiscConfigReq* request, Msg::HmpMiscConfigRep* reply);
  int HandleMsg46(const Msg::HmpAckProgressReq* request, Msg::HmpAckProgressRep* reply);

 private:
  const Instrument& its_;
};

}  // namespace Mos::handlers
