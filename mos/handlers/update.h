// Handlers that set or change a test's parameters, for voltage and for current, and the source
// module's word that the frequency will change.
//
// Each handler takes its request in place in its bus frame, at least as long as the record, and a
// reply whose header is the request's and whose rest is 0. It returns 0 when the reply is complete.
//
// Threads: the measurement's lock is held.
#pragma once

#include "common/msg/records/hmp_records.h"
#include "mos/instrument/instrument.h"

namespace Mos::handlers {

class Update {
 public:
  explicit Update(const Instrument& its) : its_(its) {}

  int HandleMsg4(const Msg::HmpUpdTestParamReq* request, Msg::HmpUpdTestParamRep* reply);
  int HandleMsg34(const Msg::HmpUpdTestParamReqI* request, Msg::HmpUpdTestParamRepI* reply);

  /// The source module is about to run at `frequency` (Hz), with the ranges that belong to it. Sets
  /// the filters, notifies the channels and takes the consumer flag, which the next update
  /// releases. 0, or the result of SelectFilter.
  int PendingFrequency(float frequency, int curange, int voltscal);

 private:
  struct Change;
  template <class Kind>
  int Handle(const typename Kind::Request& asked, typename Kind::Reply& reply);
  template <class Kind>
  int Tune(Change& update);
  void SetSampling(Change& update);
  void NoteChanges(Change& update, unsigned changed);
  int SetClock(const Change& update);
  void EndUpdate(const Change& update, bool running);

  const Instrument& its_;
};

}  // namespace Mos::handlers
