#include "mos/handlers/requests.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>

#include "common/acquisition/ranging/acq_chan.h"
#include "common/log/capture.h"
#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/state/hmp_data.h"
#include "common/msg/state/prepare_nak.h"
#include "platform/backend.h"

namespace Mos {

using AcquisitionSystem::AcqChan;

void CaptureRequest(const Msg::HmpMsgHead& request) {
  const short opcode = request.opcode;
  Logger::CaptureData(Logger::HMP_MESSAGE_RECEIVED, &opcode);
}

int Refuse(void* reply, short code) {
  auto* nak = static_cast<Msg::HmpErrorRep*>(reply);
  nak->InitResponse();
  nak->SetHMPErrorCode(Msg::NAK_MOS_ERR, code, 0);
  return -1;
}

int RefuseWithList(void* reply, const char* text) {
  int nak = 0;
  Msg::PrepareNak(Msg::NAK_MOS_ERR, nak, reply, text);
  return -1;
}

Correlators GetCorrelators() {
  return {AcqChan::get_sineCorr_Fast(), AcqChan::get_sineCorr_Slow()};
}

void ResetCorrelators() {
  AcqChan::set_reset_sine_correlators_request(acquisition::kResetNow);
  if (Msg::ghmp->testStart) return;
  const Correlators filters = GetCorrelators();
  if (filters.g_slowFilter != nullptr) filters.g_slowFilter->PhasorsReset();
  if (filters.g_fastFilter != nullptr) filters.g_fastFilter->PhasorsReset();
}

short ChannelStatus(int channel) {
  const AcqChan* its = AcqChan::get_AcqCh_instance(channel == 0 ? ACQ_CH1 : ACQ_CH2);
  return its == nullptr ? short{0} : static_cast<short>(its->get_status_flag());
}

short ChannelsStatus() { return static_cast<short>(ChannelStatus(0) | ChannelStatus(1)); }

void TellSystem(const char* format, ...) {
  char line[256];
  std::va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  platform::Machine().SystemLog("mosdaemon", LOG_INFO, line);
}

}  // namespace Mos
