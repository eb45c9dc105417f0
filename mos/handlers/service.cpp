#include "mos/handlers/service.h"

#include "common/acquisition/ranging/acq_ch_following.h"
#include "common/log/log_line.h"
#include "common/msg/state/firmware_version.h"
#include "common/msg/state/hmp_data.h"
#include "common/msg/state/safety_nak.h"
#include "common/xml/range_tables.h"
#include "mos/handlers/answers.h"
#include "mos/instrument/correlators.h"
#include "mos/instrument/process_objects.h"
#include "platform/backend.h"

namespace Mos::handlers {

int Service::HandleMsg1D(const Msg::HmpLoadTapChangerReq* request,
                         Msg::HmpLoadTapChangerRep* reply) {
  NoteRequest(*request);
  const bool done = request->direction == Msg::kTapChangerMoveDone;
  const int result = AcquisitionSystem::AcqChFollowing::notify_both_channels(
      done ? AcquisitionSystem::ACQ_EVT_TAP_CHANGER_MOVE_DONE
           : AcquisitionSystem::ACQ_EVT_TAP_CHANGER_MOVING);
  if (result < 0 && done) {
    Q5_LOG_ERROR(measurementL, "%s:Notify channels ACQ_EVT_TAP_CHANGER_MOVE_DONE failed - ret:%d\n",
                 __func__, result);
  } else if (result < 0) {
    Q5_LOG_ERROR(measurementL, "%s:Notify channels ACQ_EVT_TAP_CHANGER_MOVING failed - ret:%d\n",
                 __func__, result);
  }
  reply->SetAck();
  return 0;
}

int Service::HandleMsg1F(const Msg::HmpConfVersReq* request, Msg::HmpConfVersRep* reply) {
  Msg::ghmp->ClearBootErrorCodes();  // a host that reads the versions has seen the boot's result
  NoteRequest(*request);
  Msg::SetText(reply->meas_version, Msg::FirmwareVersion());
  Msg::SetText(reply->desc, "None");
  Msg::SetText(reply->main_version, "N/A");
  Msg::SetText(reply->src_version, "N/A");
  Msg::SetText(reply->quality, "TBD");
  Msg::SetText(reply->serialnum, "TBD");
  reply->SetAck();
  return 0;
}

int Service::HandleMsg21(const Msg::HmpFWUpdateInitReq* request, Msg::HmpFWUpdateInitRep* reply) {
  NoteRequest(*request);
  // else nobody reads the sensors any more
  if (Msg::ghmp->testStart) return Refuse(reply, Msg::NAK_MCODE_OPCODE);
  its_.channels.StopI2cScanner();
  reply->SetAck();
  return 0;
}

int Service::HandleMsg35(const Msg::HmpSetTimeOfDayReq* request, Msg::HmpSetTimeOfDayRep* reply) {
  NoteRequest(*request);
  const timespec time{static_cast<time_t>(request->secondsSinceEpoch), 0};
  // A clock that cannot be set does not concern the host: the answer is an ACK all the same.
  platform::Machine().SetRealtime(time);
  Q5_LOG_NOTICE(measurementL, "MESSAGE_35 Set TOD: secs %d\n",
                static_cast<int>(request->secondsSinceEpoch));
  reply->SetAck();
  return 0;
}

int Service::HandleMsg36(const Msg::HmpStartRowReq* request, Msg::HmpStartRowRep* reply) {
  NoteRequest(*request);
  reply->SetAck();
  return 0;
}

int Service::HandleMsg37(const Msg::HmpEndRowReq* request, Msg::HmpEndRowRep* reply) {
  NoteRequest(*request);
  reply->SetAck();
  Q5_LOG_NOTICE(measurementL, "Cleared HMP error codes \n");
  Msg::ghmp->ClearErrorCodes();
  Msg::safetyFault.Clear();
  return 0;
}

int Service::HandleMsg38(const Msg::HmpMiscConfigReq* request, Msg::HmpMiscConfigRep* reply) {
  NoteRequest(*request);
  const Dev::CalibrationDates dates = Dev::GetCalibrationDates();
  reply->SetCalibrationDate(dates.calibrated.c_str());
  reply->SetCalibrationDueDate(dates.due.c_str());
  // 0 until the source module has said it; the compatibility index stays 0, as nothing here has one
  reply->SetLineFrequency(static_cast<float>(ValueOf(Msg::ghmp->GetLineFrequency())));
  reply->SetAck();
  return 0;
}

int Service::HandleMsg46(const Msg::HmpAckProgressReq* request, Msg::HmpAckProgressRep* reply) {
  NoteRequest(*request);
  msgmonitorm.ResetTimer();
  reply->status[0] = static_cast<short>(ChannelsStatus() | its_.Staleness());
  reply->SetAck();
  return 0;
}

}  // namespace Mos::handlers
