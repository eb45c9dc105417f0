#include "mos/handlers/answers.h"

#include "common/log/capture.h"
#include "common/msg/records/hmp_error_rep.h"
#include "common/msg/state/prepare_nak.h"

namespace Mos::handlers {

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

}  // namespace Mos::handlers
